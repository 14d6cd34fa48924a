#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "bex/stream/ContentReader.hpp"
#include "stream/system/ScratchFile.hpp"
#include "stream/writer/Collection.hpp"

namespace bex::stream {

/// Keeps contents that can be read only once, all in one temporary file, as long as an entry needs them.
/// Used by one thread at a time.
class ContentStore {
public:
    using Supplier = std::function<std::size_t(char* buffer, std::size_t size)>;  ///< 0 at the end

    explicit ContentStore(System& system) : system_(system) {}

    /// Stores all that `supply` gives and makes it the entry's contents. Throws StreamError (`inputOutput`) and
    /// what `supply` throws.
    void keep(const Supplier& supply, SourceEntry& entry);

private:
    System& system_;
    std::shared_ptr<ScratchFile> file_;  ///< made for the first contents, shared with the entries
};

}  // namespace bex::stream

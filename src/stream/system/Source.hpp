#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "stream/system/System.hpp"

namespace bex::stream {

/// Bytes that are read forward. Used by one thread at a time.
class Source {
public:
    virtual ~Source() = default;

    /// Reads up to `size` bytes, at least one unless `size` is 0 or the end is reached, and tells how many.
    /// Throws StreamError (`inputOutput`).
    virtual std::size_t read(char* buffer, std::size_t size) = 0;

    /// Passes over up to `size` bytes and tells how many there were; a seekable source does not read them.
    virtual std::uint64_t skip(std::uint64_t size) = 0;

    /// Bytes that are left, where that is known before they are read.
    virtual std::optional<std::uint64_t> left() const = 0;
};

/// Reads until `size` bytes are there or the source ends, and tells how many there are.
std::size_t readFully(Source& source, char* buffer, std::size_t size);

/// The whole of a descriptor: by pread from offset 0 where it is seekable (its own position is neither used nor
/// moved), else forward from where it stands. The descriptor must outlive the source. `name` is for messages.
std::unique_ptr<Source> openSource(int descriptor, const std::string& name, System& system);

}  // namespace bex::stream

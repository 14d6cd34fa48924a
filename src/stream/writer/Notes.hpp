#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "bex/stream/Entry.hpp"
#include "bex/stream/Finding.hpp"

namespace bex::stream {

/// What others will not be able to do with a package that is being written: WriteResult::notes.
class Notes {
public:
    /// Looks at an entry of the payload. Call for each, in order.
    void take(const Entry& entry);
    /// Looks at how far the payload expands: from `memberBytes` to `tarBytes`.
    void takePayload(std::uint64_t memberBytes, std::uint64_t tarBytes);
    /// Looks at how many bytes the index of the payload has unpacked.
    void takeIndex(std::uint64_t bytes);
    void takeControl(const std::map<std::string, std::string>& files);

    const std::vector<Finding>& all() const noexcept { return notes_; }

private:
    void add(const std::string& entry, const char* code, const char* limit, std::string reason);

    std::uint64_t entries_ = 0;
    std::vector<Finding> notes_;
};

}  // namespace bex::stream

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "bex/stream/Entry.hpp"
#include "bex/stream/Finding.hpp"
#include "stream/control/Oddity.hpp"

namespace bex::stream {

/// Adds what others will not be able to do with a package that is being written to WriteResult::notes, or to
/// EditResult::notes.
class Notes {
public:
    /// `notes` must outlive this.
    explicit Notes(std::vector<Finding>& notes) : notes_(notes) {}

    /// Throws StreamError (`invalidInput`) for what dpkg would refuse in the control member; what it only dislikes
    /// becomes a note.
    void takeOddities(const std::string& member, const std::vector<Oddity>& oddities);
    /// Looks at an entry of the payload. Call for each, in order.
    void take(const Entry& entry);
    /// Looks at how far the payload expands: from `memberBytes` to `tarBytes`.
    void takePayload(std::uint64_t memberBytes, std::uint64_t tarBytes);
    /// Looks at how many bytes the index of the payload has unpacked.
    void takeIndex(std::uint64_t bytes);
    void takeControl(const std::map<std::string, std::string>& files);

private:
    void add(const std::string& entry, const char* code, const char* limit, std::string reason);
    void addLimit(const std::string& entry, const char* limit, const std::string& what, std::uint64_t bytes);

    std::uint64_t entries_ = 0;
    std::vector<Finding>& notes_;
};

}  // namespace bex::stream

#pragma once

#include <cstdint>
#include <string>

#include "bex/stream/Entry.hpp"
#include "bex/stream/Limits.hpp"
#include "stream/base/Place.hpp"
#include "stream/reader/PathTable.hpp"

namespace bex::stream {

/// Decides which entries of a package are accepted: for listing, reading, extracting and verifying alike.
/// docs/policy.md has the rules in words. Extraction decides what depends on the disk.
class EntryPolicy {
public:
    /// What an entry is that no package may hold: "a device", "a FIFO", `other` for EntryType::other; null for the
    /// types that it may.
    static const char* specialWordOf(EntryType type, const char* other) noexcept;

    EntryPolicy(const Limits& limits, Place place) : limits_(limits), place_(std::move(place)) {}

    /// Checks the next entry of the archive. Refuses it once for each rule that it breaks; throws StreamError for
    /// a limit that is exceeded.
    void check(const Entry& entry);

    /// The path of the entry that was checked last, in plainPath() form.
    const std::string& path() const noexcept { return path_; }
    /// Whether it is the first entry below a directory that has had no entry of its own.
    bool lacksParent() const noexcept { return lacksParent_; }

private:
    void checkLimits(const Entry& entry);
    bool checkPath(const Entry& entry) const;
    bool checkLink(const Entry& entry) const;
    void checkAttributes(const Entry& entry) const;
    void place(const Entry& entry);
    void refuse(const char* code, const std::string& reason, const Entry& entry) const;

    Limits limits_;
    Place place_;
    PathTable paths_;
    std::uint64_t entries_ = 0;
    std::string path_;
    bool lacksParent_ = false;
};

}  // namespace bex::stream

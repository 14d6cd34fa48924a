#pragma once

#include "bex/stream/Entry.hpp"
#include "bex/stream/Limits.hpp"
#include "stream/base/Place.hpp"
#include "stream/reader/PathTable.hpp"

namespace bex::stream {

/// Which entries of a package are taken: the one place that decides it, for listing, reading, extracting and
/// verifying alike. docs/policy.md is the same in words. What only the disk can tell is Extraction's.
class EntryPolicy {
public:
    EntryPolicy(const Limits& limits, Place place) : limits_(limits), place_(std::move(place)) {}

    /// Judges the next entry of the archive. Every rule that it breaks is refused on its own; a limit that is
    /// exceeded throws StreamError.
    void check(const Entry& entry);

private:
    void checkLimits(const Entry& entry);
    bool checkPath(const Entry& entry, const std::string& plain) const;
    bool checkLink(const Entry& entry) const;
    void checkAttributes(const Entry& entry) const;
    void place(const Entry& entry, const std::string& path);
    void refuse(const char* code, const std::string& reason, const Entry& entry) const;

    Limits limits_;
    Place place_;
    PathTable paths_;
    std::uint64_t entries_ = 0;
};

}  // namespace bex::stream

#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "bex/stream/Entry.hpp"

namespace bex::stream {

/// What extraction does if something exists under the name of an entry. A directory that exists is always used.
enum class Existing {
    replace,  ///< replaces a file or link once the new one is complete; fails for a directory
    keep,     ///< leaves it alone and skips the entry; existing directories keep their modes and times, too
    error     ///< fails with StreamError (`inputOutput`, EEXIST)
};

/// How entries are extracted.
struct ExtractOptions {
    /// Returns true for entries to extract; unset: all. `entry.path` is as stored ("./usr/bin/x"); use plainPath()
    /// to compare. The directories above an extracted entry are created as needed.
    std::function<bool(const Entry&)> select;
    unsigned stripComponents = 0;  ///< leading components to drop; an entry with no more than these is left out
    /// Returns the path below the destination that an entry gets instead of `path`; "" skips the entry. `path` is
    /// plain, without the components that are dropped, and never "". Called for each entry and for each hard
    /// link's target, so it must return the same for the same path. A path that leads out of the destination is
    /// refused.
    std::function<std::string(const std::string& path)> rename;
    Existing existing = Existing::replace;
    bool sameOwner = false;  ///< restore owners by number, as stored
    bool keepSetId = false;  ///< keep set-user-id and set-group-id bits
    bool dryRun = false;     ///< check and report entries as usual, but write nothing
    /// Called for each entry that was extracted, with its path below the destination ("." for that itself).
    std::function<void(const Entry&, const std::string& path)> onEntry;
};

/// What extract() made.
struct ExtractResult {
    std::uint64_t entries = 0;
    std::uint64_t bytes = 0;  ///< of the files' contents
};

}  // namespace bex::stream

#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "bex/stream/Entry.hpp"

namespace bex::stream {

/// How entries are extracted.
struct ExtractOptions {
    /// Which entries are extracted: true for a path (plainPath() form) to take. Unset: all. The directories
    /// above a taken entry are made as needed.
    std::function<bool(const Entry&)> select;
    unsigned stripComponents = 0;  ///< leading components to drop; an entry with no more than these is left out
    bool keepExisting = false;     ///< what is there already is an error instead of being replaced
    bool sameOwner = false;        ///< owners by number, as stored
    bool keepSetId = false;        ///< keep set-user-id and set-group-id bits
    bool dryRun = false;           ///< judge and report the entries as ever, but touch nothing on disk
    /// Called for each entry that was made, with its path below the destination ("." for that itself).
    std::function<void(const Entry&, const std::string& path)> onEntry;
};

/// What extract() made.
struct ExtractResult {
    std::uint64_t entries = 0;
    std::uint64_t bytes = 0;
};

}  // namespace bex::stream

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Finding.hpp"
#include "bex/stream/ReadOptions.hpp"

namespace bex::stream {

/// How a package is changed. `progress` tells of each pass over the package by itself: of copying, repacking,
/// verifying.
struct EditOptions : ReadOptions {
    EditOptions() = default;
    EditOptions(const ReadOptions& reading) : ReadOptions(reading) {}  // not explicit: ReadOptions will do

    /// Codes of findings (docs/findings.md) that do not keep the package from being written.
    std::vector<std::string> allow;
    /// Verify the new package, every byte of its payload included, before it appears.
    bool check = false;
    /// Fill EditResult's digests, for which the payload is read once more, before and after.
    bool digests = false;
};

/// How PackageEditor::repack() compresses both archives.
struct RepackOptions {
    Compression compression = Compression::gzip;  ///< bzip2 is not written
    std::optional<int> level;                     ///< as levelsOf() says; unset: the usual one
    bool index = true;                            ///< as WriteOptions::index
};

/// What was written.
struct EditResult {
    std::uint64_t packageBytes = 0;  ///< length of the package file
    bool payloadCopied = false;      ///< the data member was copied byte for byte
    /// SHA-256, in hexadecimal, of what had to stay, in the old package and in the new one: of the data member as
    /// it is stored, or after repack() of its tar archive. "" without EditOptions::digests and EditOptions::check.
    std::string digestBefore;
    std::string digestAfter;
    /// `member-signature`, a signature that was left out because it no longer holds, and what WriteResult::notes
    /// has.
    std::vector<Finding> notes;
};

}  // namespace bex::stream

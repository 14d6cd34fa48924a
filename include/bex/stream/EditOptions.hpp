#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Finding.hpp"
#include "bex/stream/ReadOptions.hpp"

namespace bex::stream {

/// How a package is changed. `progress` is called for each pass over the package separately: for copying,
/// repacking and verifying.
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
    /// SHA-256, in hexadecimal, of what must not change, in the old and in the new package: the data member or,
    /// after repack(), its tar archive. "" without EditOptions::digests and EditOptions::check.
    std::string digestBefore;
    std::string digestAfter;
    /// `member-signature`, for a signature that was left out because it is no longer valid, and the notes of
    /// WriteResult::notes.
    std::vector<Finding> notes;
};

}  // namespace bex::stream

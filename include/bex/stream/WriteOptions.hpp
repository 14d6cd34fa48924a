#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Progress.hpp"

namespace bex::stream {

/// How PackageWriter::addTree() takes a tree.
struct TreeOptions {
    /// Directory in the package below which the tree is placed, such as "opt/site"; "" is the root.
    std::string prefix;
    /// Paths relative to the tree, without a leading "/", that are left out with all below them.
    std::vector<std::string> exclude;
    /// Leaves sockets, FIFOs and devices out instead of refusing them.
    bool skipSpecialFiles = false;
};

/// Attributes of what does not come from disk.
struct Attributes {
    std::uint32_t mode = 0644;
    /// Seconds since 1970. Unset: the newest time that anything in the package has, so that equal input gives
    /// equal bytes; where nothing has one, WriteOptions::latestTime, or 0.
    std::optional<std::int64_t> mtime;
};

/// How PackageWriter::write() works.
struct WriteOptions {
    Compression compression = Compression::gzip;  ///< bzip2 is not written
    /// gzip 0 to 12, zstd 1 to 19, xz 0 to 9; unset: 6, 3 and 6.
    std::optional<int> level;
    unsigned threads = 0;                           ///< 0: one for each processor. The bytes do not depend on it.
    std::size_t blockBytes = std::size_t{1} << 20;  ///< payload bytes that are compressed as one block
    /// Make the control member "md5sums": every name of a regular file but conffiles, which are there to be
    /// changed.
    bool md5sums = true;
    /// Set Installed-Size unless the paragraph gives it: each file's and symlink's size in whole KiB, a file with
    /// several names once, and 1 KiB for every directory (deb-substvars(5)).
    bool installedSize = true;
    bool keepOwner = false;  ///< owners as on disk, by number and the system's name for it, instead of root
    /// Later times are set back to this, in seconds since 1970. Unset: the environment's SOURCE_DATE_EPOCH.
    /// Whatever this says, times before 1970 become 1970 and times after 2242, for which tar has no digits, 2242.
    std::optional<std::int64_t> latestTime;
    ProgressCallback progress;
};

/// What write() made.
struct WriteResult {
    std::uint64_t packageBytes = 0;  ///< length of the package file
    std::uint64_t payloadBytes = 0;  ///< contents of the payload's files, unpacked
    std::uint64_t entries = 0;       ///< entries of the payload
};

}  // namespace bex::stream

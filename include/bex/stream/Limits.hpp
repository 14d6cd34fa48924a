#pragma once

#include <cstddef>
#include <cstdint>

namespace bex::stream {

/// Upper bounds on what a package can make its reader do. The caller can raise each; exceeding one throws a
/// StreamError
/// (`limitExceeded`) whose limit() names it.
struct Limits {
    /// Bytes of the control archive, unpacked, the contents of md5sums not counted. Read into memory as a whole.
    std::uint64_t controlBytes = std::uint64_t{32} << 20;
    /// Bytes of the control member md5sums, which grows with the payload: enough for as many files as `entries`
    /// allows, with paths of 90 bytes.
    std::uint64_t md5sumsBytes = std::uint64_t{128} << 20;
    /// Bytes of one entry's path or link target. PATH_MAX is 4096; tools join paths before they use them.
    std::size_t nameBytes = std::size_t{64} << 10;
    /// Bytes of a pax header before one entry.
    std::size_t extendedHeaderBytes = std::size_t{1} << 20;
    /// Allowed payload bytes per compressed byte. Checked once the payload exceeds `expansionFreeBytes`; packages
    /// of text reach some 20, a bomb of zeros 1000.
    std::uint64_t expansionRatio = 250;
    std::uint64_t expansionFreeBytes = std::uint64_t{1} << 30;
    /// Bytes of working memory that an xz member may ask for. Several blocks are unpacked at a time if all fit.
    std::uint64_t xzMemoryBytes = std::uint64_t{128} << 20;
    /// Logarithm of the window, in bytes, that a zstd member may ask for.
    int zstdWindowLog = 27;
    /// Entries of the payload, and paths of it, those of directories without an entry included. Some 100 bytes are
    /// kept for each path, and its last component once more when that has more than 15.
    std::uint64_t entries = 1000000;
    /// Bytes of the payload's index, as stored, and of the same unpacked. The stored ones are read into memory as
    /// a whole: some 10 bytes for each entry.
    std::uint64_t indexBytes = std::uint64_t{64} << 20;
};

}  // namespace bex::stream

#pragma once

#include <cstddef>
#include <cstdint>

namespace bex::stream {

/// Upper bounds on what a package can make its reader do. The caller can raise
/// each. Exceeding one throws a StreamError (`limitExceeded`) whose limit() names
/// it.
struct Limits {
    /// Bytes of the control archive, unpacked, without the contents of md5sums. It is read into memory as a whole.
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
    /// Bytes of working memory for an xz member. Several blocks are unpacked at a time if all fit.
    std::uint64_t xzMemoryBytes = std::uint64_t{128} << 20;
    /// Logarithm of the largest window, in bytes, of a zstd member.
    int zstdWindowLog = 27;
    /// Entries of the payload, and its paths, including directories without an entry. Memory: some 100 bytes for
    /// each path, and its last component once more if that has more than 15 bytes.
    std::uint64_t entries = 1000000;
    /// Bytes of the payload's index, both as stored and unpacked. The stored index is read into memory as a whole:
    /// some 10 bytes for each entry.
    std::uint64_t indexBytes = std::uint64_t{64} << 20;
};

}  // namespace bex::stream

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "stream/base/Place.hpp"

namespace bex::stream {

constexpr std::size_t kTarBlockBytes = 512;

/// The fields of one tar header, a block of 512 bytes (tar(5)). Names are as stored.
struct TarHeader {
    std::string path;
    std::string link;
    char type = '0';
    std::uint32_t mode = 0;  ///< 07777 at most
    std::uint64_t uid = 0;   ///< a negative number in the header wraps to one above 2^63, which readers refuse
    std::uint64_t gid = 0;   ///< as uid
    std::uint64_t size = 0;  ///< bytes stored after the header, without the padding
    std::int64_t mtime = 0;  ///< seconds since 1970-01-01 00:00:00 UTC
    std::string owner;
    std::string group;
};

bool isZeroBlock(std::string_view block) noexcept;

/// Decodes a header that all readers understand alike: POSIX ustar, GNU or v7 format with the exact magic, a
/// correct checksum, well-formed numbers, only NULs after the end of a name. Throws StreamError for any other.
TarHeader parseTarHeader(std::string_view block, const Place& place);

/// Encodes a header in GNU's format. A path or link target of more than 100 bytes, and an owner or group of more
/// than 32, is cut off there; an extension header has to hold the whole path or target.
std::array<char, kTarBlockBytes> formatTarHeader(const TarHeader& header);

/// The largest size that a header can give: room is left to round up to whole blocks.
constexpr std::uint64_t kLargestTarSize = (std::uint64_t{1} << 63) - 1 - kTarBlockBytes;

/// Returns `size` rounded up to whole blocks; `size` is at most kLargestTarSize.
constexpr std::uint64_t paddedToBlocks(std::uint64_t size) noexcept {
    return (size + kTarBlockBytes - 1) / kTarBlockBytes * kTarBlockBytes;
}

}  // namespace bex::stream

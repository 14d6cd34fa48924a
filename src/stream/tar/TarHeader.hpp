#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "stream/base/Place.hpp"

namespace bex::stream {

constexpr std::size_t kTarBlockBytes = 512;

/// What decides where an entry's bytes end and where they go, from one tar header of 512 bytes (tar(5)).
struct TarHeader {
    std::string path;
    std::string link;
    char type = '0';
    std::uint32_t mode = 0;        ///< 07777 at most
    std::uint64_t size = 0;        ///< bytes stored behind the header, without the padding
    bool sparseContinues = false;  ///< a block of an old GNU sparse map follows
};

bool isZeroBlock(std::string_view block) noexcept;

/// Takes apart a header whose readers all agree: POSIX ustar, GNU or v7 format with the magic to the letter, a
/// right checksum, well-formed numbers, nothing behind the end of a name. Anything else throws StreamError.
TarHeader parseTarHeader(std::string_view block, const Place& place);

/// Whether another block follows one of an old GNU sparse map.
bool sparseMapContinues(std::string_view block) noexcept;

/// `size` rounded up to whole blocks; `size` is less than 2^63.
constexpr std::uint64_t paddedToBlocks(std::uint64_t size) noexcept {
    return (size + kTarBlockBytes - 1) / kTarBlockBytes * kTarBlockBytes;
}

}  // namespace bex::stream

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bex/stream/StreamError.hpp"
#include "stream/base/Place.hpp"
#include "stream/codec/Input.hpp"

namespace bex::stream {

// The gzip format (RFC 1952): a stream is a row of members, each a header, deflate data and a trailer (CRC-32 and
// unpacked length, 4 bytes each, little endian).
//
// A block is a member whose header tells the length of the whole member, header and trailer included, in an extra
// subfield "BX" of 4 bytes, little endian. Other readers see plain gzip; one that knows the subfield finds the
// next member without decompressing this one. The header that is written:
//
//     1f 8b 08   gzip, deflate            ff         system: unknown, so that the bytes are the same everywhere
//     04         an extra field           08 00      its length
//     00 x 4     no time                  42 58      "BX"
//     00         no compressor flags      04 00      the subfield's length, then the member's

constexpr std::size_t kBlockHeaderBytes = 20;
constexpr std::size_t kExtraOffset = 10;  ///< of the extra field's length in the header
constexpr std::size_t kGzipTrailerBytes = 8;

/// Names of the subfields of members that carry an index (IndexChain.hpp).
constexpr std::string_view kIndexId = "BI";
constexpr std::string_view kIndexFooterId = "BF";

/// The most that a block may unpack to: bounds what a reader allocates on the word of a member's length fields.
/// Deflate, which looks back 32 KiB, gains nothing from larger blocks.
constexpr std::size_t kMaximumBlockBytes = std::size_t{4} << 20;

/// The most that the deflate data of a block may take: the stored form and some to spare.
constexpr std::size_t kMaximumDeflateBytes = kMaximumBlockBytes + kMaximumBlockBytes / 1000 + 64;

std::array<std::uint8_t, kBlockHeaderBytes> blockHeader(std::uint32_t memberBytes) noexcept;

struct GzipTrailer {
    std::uint32_t crc = 0;
    std::uint32_t size = 0;  ///< unpacked bytes modulo 2^32
};
std::array<std::uint8_t, kGzipTrailerBytes> encode(const GzipTrailer& trailer) noexcept;
GzipTrailer decodeTrailer(const char* bytes) noexcept;

/// What a header has beside its length.
enum class GzipSubfield { none, index, indexFooter };

struct GzipHeader {
    std::uint64_t offset = 0;                  ///< of the member in its input
    std::uint64_t bytes = 0;                   ///< of the header
    std::optional<std::uint32_t> memberBytes;  ///< what a subfield "BX" claims, unchecked
    GzipSubfield subfield = GzipSubfield::none;
    std::string data;  ///< of that subfield
};

/// Reads the header of the next member. Nothing at the end of the input; zero bytes before it are passed over.
/// Throws StreamError (`damaged`, beginning with `name`) for an input that is empty, breaks off, or goes on with
/// anything else.
std::optional<GzipHeader> readGzipHeader(Input& input, const Place& place);

/// Compares what a member's data gave with its trailer. Throws StreamError (`damaged`).
void checkTrailer(const GzipTrailer& expected, const GzipTrailer& found, const Place& place, std::uint64_t offset);

/// The `damaged` error for a member whose subfield claims a length that it does not have.
StreamError wrongMemberLength(const Place& place, std::uint64_t offset);

/// "gzip member at byte OFFSET".
std::string memberAt(std::uint64_t offset);

}  // namespace bex::stream

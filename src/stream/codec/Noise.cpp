#include "stream/codec/Noise.hpp"

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

namespace bex::stream {

namespace {

constexpr std::size_t kLeastBytes = std::size_t{16} << 10;  // below, there is no time to be won
constexpr std::size_t kReachBytes = std::size_t{32} << 10;  // how far back deflate's matches go

/// The sum of squares of how often each byte occurs is least where all occur alike. Programs have twice that, text
/// ten times; what is compressed already stays within a hundredth.
bool isEvenlySpread(std::string_view data) {
    constexpr std::size_t stride = 13;  // odd, so that no column of a table is all that is seen
    constexpr std::uint64_t bytes = 256;
    std::array<std::uint32_t, bytes> counts{};
    std::uint64_t samples = 0;
    for (std::size_t i = 0; i < data.size(); i += stride) {
        ++counts[static_cast<unsigned char>(data[i])];
        ++samples;
    }
    std::uint64_t squares = 0;
    for (const std::uint64_t count : counts) {
        // At most the size of the data, which has 32 bits: the square fits into 64.
        squares += count * count;
    }
    const std::uint64_t least = samples * samples / bytes;
    return squares - samples < least + least / 32;  // chance alone adds as much as there are samples
}

/// In one order on every machine, on which the table's collisions depend.
std::uint32_t fourBytesAt(const char* data) noexcept {
    std::uint32_t bytes = 0;
    for (unsigned i = 0; i < 4; ++i) {
        bytes |= std::uint32_t{static_cast<unsigned char>(data[i])} << (8 * i);
    }
    return bytes;
}

/// Whether four bytes stand a second time, within deflate's reach, in more than one of a thousand places. Every
/// place is remembered, every fourth looked up.
bool hasRepeats(std::string_view data) {
    constexpr unsigned tableBits = 15;
    std::vector<std::uint32_t> places(std::size_t{1} << tableBits);  // behind the four bytes; 0: none
    // One in 1024 of the places that are looked up.
    const std::size_t most = data.size() / 4096;
    std::size_t repeats = 0;
    for (std::size_t i = 0; i + 4 <= data.size(); ++i) {
        const std::uint32_t bytes = fourBytesAt(data.data() + i);
        std::uint32_t& place = places[bytes * 0x9e3779b1U >> (32 - tableBits)];
        // A place is the offset after its four bytes, so never 0; the comparison rules out collisions of the hash.
        // For a place less than four bytes back, `i - place` wraps to a large number: such a run is not counted.
        if (i % 4 == 0 && place != 0 && i - place < kReachBytes && fourBytesAt(data.data() + place - 4) == bytes) {
            if (++repeats > most) {
                return true;
            }
        }
        place = static_cast<std::uint32_t>(i + 4);
    }
    return false;
}

}  // namespace

bool isNoise(std::string_view data) {
    // The limits come first: short data is not worth the time, and offsets in the table have 32 bits. The sample
    // is far cheaper than the table.
    return data.size() >= kLeastBytes && data.size() <= std::numeric_limits<std::uint32_t>::max() - 4 &&
           isEvenlySpread(data) && !hasRepeats(data);
}

}  // namespace bex::stream

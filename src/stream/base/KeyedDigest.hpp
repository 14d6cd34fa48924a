#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string_view>

namespace bex::stream {

/// A secret pair of numbers for KeyedDigest, drawn anew by every object.
struct DigestKey {
    std::uint64_t first = draw();
    std::uint64_t second = draw();

private:
    static std::uint64_t draw() {
        std::random_device device;
        return std::uint64_t{device()} << 32 | device();
    }
};

/// Compares two long texts that are never in memory together: both are written, in pieces cut alike, to digests
/// with the same key, and are equal if these are. Whoever made the texts cannot know the key, so that two
/// different texts of n bytes pass with a probability of less than n / 2^116, at a fraction of the cost of a
/// cryptographic digest: two polynomials over the field of 2^61 - 1 elements.
class KeyedDigest {
public:
    explicit KeyedDigest(const DigestKey& key) : keys_{key.first % kPrime, key.second % kPrime} {}

    /// Appends one piece; where pieces end counts, too.
    void write(std::string_view piece) noexcept {
        add(piece.size());
        for (; piece.size() >= kWordBytes; piece.remove_prefix(kWordBytes)) {
            add(wordOf(piece.substr(0, kWordBytes)));
        }
        if (!piece.empty()) {
            add(wordOf(piece));
        }
    }

    /// Appends a number below 2^56.
    void add(std::uint64_t number) noexcept {
        for (int i = 0; i < 2; ++i) {
            sums_[i] = reduced(static_cast<Wide>(sums_[i]) * keys_[i] + number + 1);
        }
    }

    bool operator==(const KeyedDigest& other) const noexcept {
        return sums_[0] == other.sums_[0] && sums_[1] == other.sums_[1];
    }
    bool operator!=(const KeyedDigest& other) const noexcept { return !(*this == other); }

private:
    __extension__ using Wide = unsigned __int128;

    static constexpr std::uint64_t kPrime = (std::uint64_t{1} << 61) - 1;
    static constexpr std::size_t kWordBytes = 7;  // fits below the prime

    static std::uint64_t wordOf(std::string_view bytes) noexcept {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes.data(), bytes.size());
        return word;
    }

    static std::uint64_t reduced(Wide number) noexcept {
        const auto folded = static_cast<std::uint64_t>(number & kPrime) + static_cast<std::uint64_t>(number >> 61);
        return folded % kPrime;
    }

    std::uint64_t keys_[2];
    std::uint64_t sums_[2] = {1, 1};
};

}  // namespace bex::stream

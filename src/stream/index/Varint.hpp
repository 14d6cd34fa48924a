#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "stream/base/Place.hpp"
#include "stream/codec/IndexChain.hpp"

namespace bex::stream {

/// Appends a number in groups of 7 bits, the lowest first; the top bit of a byte is set where another follows.
inline void appendVarint(std::string& to, std::uint64_t number) {
    for (; number >= 0x80; number >>= 7) {
        to += static_cast<char>(number | 0x80);
    }
    to += static_cast<char>(number);
}

/// Takes numbers and texts from the front of a part of an index. Throws indexError() where something is missing.
class VarintReader {
public:
    /// `fault` is what is then said of the index. The bytes and the place must outlive this.
    VarintReader(std::string_view bytes, const char* fault, const Place& place)
        : left_(bytes), fault_(fault), place_(place) {}

    std::uint64_t number() {
        std::uint64_t number = 0;
        for (unsigned shift = 0; shift < 64 && !left_.empty(); shift += 7) {
            const auto byte = static_cast<std::uint8_t>(left_.front());
            left_.remove_prefix(1);
            number |= std::uint64_t{byte & 0x7fU} << shift;
            if (byte < 0x80) {
                return number;
            }
        }
        fail();
    }

    std::string_view text(std::uint64_t size) {
        if (size > left_.size()) {
            fail();
        }
        const std::string_view text = left_.substr(0, static_cast<std::size_t>(size));
        left_.remove_prefix(text.size());
        return text;
    }

    /// A number and as many bytes.
    std::string_view countedText() { return text(number()); }

    /// Throws unless nothing is left.
    void finish() const {
        if (!left_.empty()) {
            fail();
        }
    }

    [[noreturn]] void fail() const { throw indexError(place_, fault_); }

private:
    std::string_view left_;
    const char* fault_;
    const Place& place_;
};

/// Makes small numbers of small negative ones.
constexpr std::uint64_t zigzag(std::uint64_t difference) noexcept {
    return difference << 1 ^ (difference >> 63 != 0 ? ~std::uint64_t{0} : 0);
}

constexpr std::uint64_t unzigzag(std::uint64_t number) noexcept {
    return number >> 1 ^ (~(number & 1) + 1);
}

}  // namespace bex::stream

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace bex::stream {

/// Appends a number in groups of 7 bits, the lowest first; the top bit of a byte is set where another follows.
inline void appendVarint(std::string& to, std::uint64_t number) {
    for (; number >= 0x80; number >>= 7) {
        to += static_cast<char>(number | 0x80);
    }
    to += static_cast<char>(number);
}

/// Takes numbers and texts from the front of some bytes, which must outlive it. Once something is missing, every
/// call gives nothing.
class VarintReader {
public:
    explicit VarintReader(std::string_view bytes) : left_(bytes) {}

    std::optional<std::uint64_t> number() noexcept {
        std::uint64_t number = 0;
        for (unsigned shift = 0; shift < 64 && !left_.empty(); shift += 7) {
            const auto byte = static_cast<std::uint8_t>(left_.front());
            left_.remove_prefix(1);
            number |= std::uint64_t{byte & 0x7fU} << shift;
            if (byte < 0x80) {
                return number;
            }
        }
        left_ = {};
        return std::nullopt;
    }

    std::optional<std::string_view> text(std::uint64_t size) noexcept {
        if (size > left_.size()) {
            left_ = {};
            return std::nullopt;
        }
        const std::string_view text = left_.substr(0, static_cast<std::size_t>(size));
        left_.remove_prefix(text.size());
        return text;
    }

    /// A number and as many bytes.
    std::optional<std::string_view> countedText() noexcept {
        const std::optional<std::uint64_t> size = number();
        return size ? text(*size) : std::nullopt;
    }

    bool atEnd() const noexcept { return left_.empty(); }

private:
    std::string_view left_;
};

/// Makes small numbers of small negative ones.
constexpr std::uint64_t zigzag(std::uint64_t difference) noexcept {
    return difference << 1 ^ (difference >> 63 != 0 ? ~std::uint64_t{0} : 0);
}

constexpr std::uint64_t unzigzag(std::uint64_t number) noexcept {
    return number >> 1 ^ (~(number & 1) + 1);
}

}  // namespace bex::stream

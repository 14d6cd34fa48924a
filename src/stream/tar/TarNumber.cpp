#include "stream/tar/TarNumber.hpp"

#include <algorithm>

namespace bex::stream {

namespace {

// The first byte of a number in base 256; the number itself begins with the second.
constexpr unsigned char kPositiveMark = 0x80;
constexpr unsigned char kNegativeMark = 0xff;

/// Whether the number times 256 is still one of 64 bits.
bool hasRoomForByte(std::int64_t number) {
    const std::int64_t high = number >> 55;
    return high == 0 || high == -1;
}

unsigned char firstOf(std::string_view field) {
    return static_cast<unsigned char>(field.front());
}

std::optional<std::int64_t> parseBase256(std::string_view field) {
    std::int64_t number = firstOf(field) == kNegativeMark ? -1 : 0;
    for (const char c : field.substr(1)) {
        if (!hasRoomForByte(number)) {
            return std::nullopt;
        }
        number = number * 0x100 + static_cast<unsigned char>(c);
    }
    return number;
}

}  // namespace

std::optional<std::int64_t> parseOctal(std::string_view field) noexcept {
    const auto isDigit = [](char c) { return c >= '0' && c <= '7'; };
    const auto isFilling = [](char c) { return c == ' ' || c == '\0'; };
    const auto* const digits = std::find_if(field.begin(), field.end(), [](char c) { return c != ' '; });
    std::int64_t number = 0;
    const auto* rest = digits;
    for (; rest != field.end() && isDigit(*rest); ++rest) {
        number = number * 8 + (*rest - '0');
    }
    const bool hasNoDigits = rest == digits;
    if (!std::all_of(rest, field.end(), isFilling) ||
        (hasNoDigits && field.find_first_not_of('\0') != std::string_view::npos)) {
        return std::nullopt;
    }
    return number;
}

std::optional<std::int64_t> parseTarNumber(std::string_view field) noexcept {
    if (firstOf(field) == kPositiveMark || firstOf(field) == kNegativeMark) {
        return parseBase256(field);
    }
    return parseOctal(field);
}

void formatTarNumber(std::int64_t number, char* field, std::size_t size) noexcept {
    const bool isOctal = number >= 0 && number >> (3 * (size - 1)) == 0;
    if (isOctal) {
        field[size - 1] = '\0';
        for (std::size_t i = size - 1; i-- > 0; number >>= 3) {
            field[i] = static_cast<char>('0' + (number & 7));
        }
        return;
    }
    for (std::size_t i = size; i-- > 0; number >>= 8) {
        field[i] = static_cast<char>(number & 0xff);
    }
    field[0] = static_cast<char>(number < 0 ? kNegativeMark : kPositiveMark);
}

}  // namespace bex::stream

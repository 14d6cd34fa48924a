#include "stream/tar/TarNumber.hpp"

namespace bex::stream {

namespace {

// The first byte of a number in base 256; the number itself begins with the second.
constexpr unsigned char kPositiveMark = 0x80;
constexpr unsigned char kNegativeMark = 0xff;

/// Whether the number times 256 is still one of 64 bits.
bool hasRoomForByte(std::int64_t number) {
    // Bits 55 to 63 must all be equal: shifted by eight, the sign bit is then still the sign.
    const std::int64_t high = number >> 55;
    return high == 0 || high == -1;
}

unsigned char firstOf(std::string_view field) {
    return static_cast<unsigned char>(field.front());
}

std::optional<std::int64_t> parseBase256(std::string_view field) {
    // Two's complement: a negative number begins with all bits set.
    std::int64_t number = firstOf(field) == kNegativeMark ? -1 : 0;
    for (const char c : field.substr(1)) {
        if (!hasRoomForByte(number)) {
            return std::nullopt;
        }
        // Times 256 and not shifted: a left shift of a negative number is not defined before C++20.
        number = number * 0x100 + static_cast<unsigned char>(c);
    }
    return number;
}

}  // namespace

std::optional<std::int64_t> parseOctal(std::string_view field) noexcept {
    const auto isDigit = [](char c) { return c >= '0' && c <= '7'; };
    std::size_t at = 0;
    while (at < field.size() && field[at] == ' ') {
        ++at;
    }
    std::int64_t number = 0;
    const std::size_t digits = at;
    // A field has at most twelve bytes, so at most 36 bits: no overflow.
    for (; at < field.size() && isDigit(field[at]); ++at) {
        number = number * 8 + (field[at] - '0');
    }
    // A field of NULs alone is 0; one with blanks, or nothing else, is refused.
    const bool hasDigits = at != digits;
    if (!hasDigits && digits != 0) {
        return std::nullopt;
    }
    // Only filling may follow the digits.
    for (; at < field.size(); ++at) {
        if (field[at] != '\0' && !(hasDigits && field[at] == ' ')) {
            return std::nullopt;
        }
    }
    return number;
}

std::optional<std::int64_t> parseTarNumber(std::string_view field) noexcept {
    // Every other first byte is octal, also one with its highest bit set, which parseOctal() then refuses.
    if (firstOf(field) == kPositiveMark || firstOf(field) == kNegativeMark) {
        return parseBase256(field);
    }
    return parseOctal(field);
}

void formatTarNumber(std::int64_t number, char* field, std::size_t size) noexcept {
    // The last byte is the NUL's. The shift is at most 33: `size` is at most 12.
    const bool isOctal = number >= 0 && number >> (3 * (size - 1)) == 0;
    if (isOctal) {
        field[size - 1] = '\0';
        // From the back: the lowest digit stands last.
        for (std::size_t i = size - 1; i-- > 0; number >>= 3) {
            field[i] = static_cast<char>('0' + (number & 7));
        }
        return;
    }
    for (std::size_t i = size; i-- > 0; number >>= 8) {
        field[i] = static_cast<char>(number & 0xff);
    }
    // Last, because the loop has filled this byte with the number's highest bits.
    field[0] = static_cast<char>(number < 0 ? kNegativeMark : kPositiveMark);
}

}  // namespace bex::stream

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace bex::stream {

constexpr std::string_view kLowerCaseHexDigits = "0123456789abcdef";
constexpr std::string_view kUpperCaseHexDigits = "0123456789ABCDEF";

/// Appends the two digits of a byte.
inline void appendHex(std::string& text, unsigned char byte, std::string_view digits = kLowerCaseHexDigits) {
    text += digits[byte >> 4U];
    text += digits[byte & 15U];
}

/// The digits of all bytes; `Byte` is a kind of char.
template <typename Byte>
std::string hexOf(const Byte* bytes, std::size_t size) {
    std::string text;
    text.reserve(2 * size);
    for (std::size_t i = 0; i < size; ++i) {
        appendHex(text, static_cast<unsigned char>(bytes[i]));
    }
    return text;
}

}  // namespace bex::stream

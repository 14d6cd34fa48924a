#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace bex::stream {

/// Reads octal digits between optional blanks, ended by the field's end, a blank or a NUL (tar(5)). A field of
/// nothing but NULs is 0. Returns nothing for anything else: readers stop at different places in it.
std::optional<std::int64_t> parseOctal(std::string_view field) noexcept;

/// Reads octal digits, or GNU's base 256: after a byte of 0x80, or of 0xff if it is negative, a big-endian number
/// in two's complement. Returns nothing for a malformed field and for a number that does not fit into 64 bits.
std::optional<std::int64_t> parseTarNumber(std::string_view field) noexcept;

/// Writes the number in octal digits and a NUL, or in base 256 if it is negative or has too many digits. `field`
/// has `size` bytes, 8 to 12; a number for 8 bytes has at most 56 bits.
void formatTarNumber(std::int64_t number, char* field, std::size_t size) noexcept;

}  // namespace bex::stream

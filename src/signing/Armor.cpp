#include "signing/Armor.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"

namespace bex::signing {

namespace {

constexpr std::string_view kBegin = "-----BEGIN PGP SIGNATURE-----";
constexpr std::string_view kEnd = "-----END PGP SIGNATURE-----";
constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// The bytes of base64 (RFC 4648, section 4), which is a multiple of four characters; nothing for anything else.
std::optional<std::string> decoded(std::string_view text) {
    const std::size_t digits = std::min(text.find('='), text.size());
    const std::size_t padding = text.size() - digits;
    if (text.size() % 4 != 0 || padding > 2 || text.find_first_not_of('=', digits) != std::string_view::npos) {
        return std::nullopt;
    }
    std::string bytes;
    std::uint32_t bits = 0;  // the last digits, of which `count` bits are not in a byte yet
    unsigned count = 0;
    for (const char digit : text.substr(0, digits)) {
        const std::size_t value = kDigits.find(digit);
        if (value == std::string_view::npos) {
            return std::nullopt;
        }
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes += static_cast<char>(bits >> count & 0xff);
        }
    }
    return bytes;
}

/// RFC 9580, section 6.1.
std::uint32_t crc24(std::string_view bytes) {
    std::uint32_t crc = 0xb704ce;
    for (const char byte : bytes) {
        crc ^= std::uint32_t{static_cast<unsigned char>(byte)} << 16;
        for (int bit = 0; bit < 8; ++bit) {
            crc <<= 1;
            if ((crc & 0x1000000) != 0) {
                crc ^= 0x1864cfb;
            }
        }
    }
    return crc;
}

std::uint32_t numberOf(std::string_view bytes) {
    std::uint32_t number = 0;
    for (const char byte : bytes) {
        number = number << 8 | static_cast<unsigned char>(byte);
    }
    return number;
}

/// A packet's length and how many bytes say it; nothing where they are cut or the packet has several parts, which
/// no signature has. `header` begins after the packet's first byte.
struct Length {
    std::size_t bytes;
    std::size_t taken;
};
std::optional<Length> lengthOf(unsigned char first, std::string_view header) {
    const std::size_t next = header.empty() ? 0 : static_cast<unsigned char>(header.front());
    Length length{next, 1};
    if ((first & 0x40) == 0) {  // the old format: 1, 2 or 4 bytes
        length.taken = std::size_t{1} << (first & 3);
        length.bytes = numberOf(header.substr(0, length.taken));
    } else if (next == 255) {
        length = {numberOf(header.substr(0, 5)), 5};  // of 40 bits, the lowest 32
    } else if (next >= 192) {
        length = {(numberOf(header.substr(0, 2)) & 0x3fff) + 192, 2};
    }
    const bool isPartial = (first & 0x40) != 0 ? next >= 224 && next < 255 : (first & 3) == 3;
    if (isPartial || length.taken > header.size()) {
        return std::nullopt;
    }
    return length;
}

bool isOfSignaturePackets(std::string_view bytes) {
    constexpr unsigned signature = 2;  // the packet's type
    bool hasOne = false;
    while (!bytes.empty()) {
        const auto first = static_cast<unsigned char>(bytes.front());
        const unsigned type = (first & 0x40) != 0 ? first & 0x3fU : (first & 0x3cU) >> 2;
        const auto length = lengthOf(first, bytes.substr(1));
        if ((first & 0x80) == 0 || type != signature || !length ||
            length->bytes > bytes.size() - 1 - length->taken) {
            return false;
        }
        bytes.remove_prefix(1 + length->taken + length->bytes);
        hasOne = true;
    }
    return hasOne;
}

}  // namespace

bool isArmoredSignature(std::string_view text) {
    std::string digits;
    std::string checksum;
    enum class Part { before, headers, data, after } part = Part::before;
    bool isSound = true;
    stream::forEachLine(text, [&](std::string_view untrimmed) {
        const std::string_view line = stream::trimmed(untrimmed.substr(0, untrimmed.find('\r')));
        if (part == Part::before) {
            isSound = isSound && line == kBegin;
            part = Part::headers;
        } else if (part == Part::headers) {
            part = line.empty() ? Part::data : Part::headers;
        } else if (part == Part::data && line == kEnd) {
            part = Part::after;
        } else if (part == Part::data && line.size() == 5 && line.front() == '=') {
            checksum = line.substr(1);
        } else if (part == Part::data) {
            isSound = isSound && checksum.empty();  // the checksum is the last line
            digits += line;
        } else {
            isSound = isSound && line.empty();
        }
    });
    const auto bytes = decoded(digits);
    if (!isSound || part != Part::after || !bytes || !isOfSignaturePackets(*bytes)) {
        return false;
    }
    const auto expected = decoded(checksum);
    return checksum.empty() || (expected && numberOf(*expected) == crc24(*bytes));
}

}  // namespace bex::signing

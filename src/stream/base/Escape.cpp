#include "bex/stream/Escape.hpp"

#include <algorithm>
#include <cstddef>

#include "stream/base/Hex.hpp"

namespace bex::stream {

namespace {

/// A code point and the bytes that make it; no bytes where the text is not UTF-8.
struct CodePoint {
    char32_t value = 0;
    std::size_t bytes = 0;
};

constexpr bool within(char32_t value, char32_t first, char32_t last) {
    return value >= first && value <= last;
}

unsigned char byteAt(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

/// How many bytes a sequence with this first byte has; 0 for a byte that begins none.
constexpr std::size_t sequenceLength(unsigned char lead) {
    if (lead < 0x80) {
        return 1;
    }
    // 0xC0 and 0xC1 could only begin a longer form of an ASCII character, and 0xF5 and above only code points
    // beyond U+10FFFF (RFC 3629): neither begins a sequence.
    if (within(lead, 0xC2, 0xDF)) {
        return 2;
    }
    if (within(lead, 0xE0, 0xEF)) {
        return 3;
    }
    if (within(lead, 0xF0, 0xF4)) {
        return 4;
    }
    return 0;
}

/// Whether a code point of that many bytes is one, and could not have been written shorter.
constexpr bool isWellFormed(char32_t value, std::size_t bytes) {
    switch (bytes) {
        case 3:
            return value >= 0x800 && !within(value, 0xD800, 0xDFFF);
        case 4:
            return within(value, 0x10000, 0x10FFFF);
        default:
            return true;  // the first byte has ruled the rest out
    }
}

/// How many bytes at the front of a text stand for themselves whatever follows them.
std::size_t plainAscii(std::string_view text) {
    // A backslash is not plain: it would look like the beginning of an escape, and escaped text could not be read
    // back.
    const auto isPlain = [](char c) { return c >= 0x20 && c < 0x7F && c != '\\'; };
    return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isPlain) - text.begin());
}

/// The code point at the front of a text that is not empty.
CodePoint decodeFront(std::string_view text) {
    const unsigned char lead = byteAt(text, 0);
    const std::size_t length = sequenceLength(lead);
    // Before any byte after the first is looked at: a sequence that the text cuts off is not UTF-8.
    if (length == 0 || length > text.size()) {
        return {};
    }
    if (length == 1) {
        return {lead, 1};
    }
    // The first byte has as many leading ones as the sequence has bytes, then a zero; the mask keeps the bits
    // after it.
    char32_t value = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned char next = byteAt(text, i);
        if ((next & 0xC0U) != 0x80) {
            return {};
        }
        value = (value << 6U) | (next & 0x3FU);
    }
    if (!isWellFormed(value, length)) {
        return {};
    }
    return {value, length};
}

/// C0, DEL and C1. A terminal that knows 8-bit controls runs U+009B as it runs ESC [.
constexpr bool isControl(char32_t value) {
    return value < 0x20 || within(value, 0x7F, 0x9F);
}

/// The line and paragraph separators: one message must stay one line.
constexpr bool breaksLine(char32_t value) {
    return value == 0x2028 || value == 0x2029;
}

/// Bidirectional marks, embeddings, overrides and isolates (UAX #9): with them a name could be shown as another
/// one.
constexpr bool turnsDirection(char32_t value) {
    return value == 0x061C || within(value, 0x200E, 0x200F) || within(value, 0x202A, 0x202E) ||
           within(value, 0x2066, 0x2069);
}

constexpr bool showsItself(char32_t value) {
    return value != '\\' && !isControl(value) && !breaksLine(value) && !turnsDirection(value);
}

void appendEscaped(std::string& result, unsigned char byte) {
    switch (byte) {
        case '\n':
            result += "\\n";
            break;
        case '\t':
            result += "\\t";
            break;
        case '\\':
            result += "\\\\";
            break;
        default:
            result += "\\x";
            appendHex(result, byte);
    }
}

}  // namespace

std::string escapeForDisplay(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    // Each round removes at least one byte from the front, so that the loop ends and its work is linear.
    while (!text.empty()) {
        if (const std::size_t count = plainAscii(text); count != 0) {
            result += text.substr(0, count);
            text.remove_prefix(count);
            continue;
        }
        const CodePoint point = decodeFront(text);
        const bool plain = point.bytes != 0 && showsItself(point.value);
        const std::size_t bytes = std::max<std::size_t>(point.bytes, 1);  // what is not UTF-8 goes byte by byte
        if (plain) {
            result += text.substr(0, bytes);
        } else {
            for (std::size_t i = 0; i < bytes; ++i) {
                appendEscaped(result, byteAt(text, i));
            }
        }
        text.remove_prefix(bytes);
    }
    return result;
}

bool isUtf8(std::string_view text) noexcept {
    while (!text.empty()) {
        const std::size_t bytes = decodeFront(text).bytes;
        if (bytes == 0) {
            return false;
        }
        text.remove_prefix(bytes);
    }
    return true;
}

}  // namespace bex::stream

#include "stream/base/Quoted.hpp"

#include <cstddef>

#include "bex/stream/Escape.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t maximumBytes = 60;

constexpr bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

}  // namespace

std::string quoted(std::string_view text) {
    if (text.size() <= maximumBytes) {
        return '"' + escapeForDisplay(text) + '"';
    }
    std::size_t end = maximumBytes;
    while (end > maximumBytes - 4 && continuesCharacter(text[end])) {
        --end;
    }
    return '"' + escapeForDisplay(text.substr(0, end)) + "...\"";
}

}  // namespace bex::stream

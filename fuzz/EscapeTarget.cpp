#include <stdexcept>

#include "Target.hpp"
#include "bex/stream/Escape.hpp"

namespace bex::fuzz {
namespace {

/// The bytes that an escaped text stands for.
std::string unescaped(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
            continue;
        }
        const char kind = text.at(++i);
        require(kind == 'n' || kind == 't' || kind == '\\' || kind == 'x', "every escape is known",
                std::string(text));
        if (kind == 'x') {
            bytes += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        } else {
            bytes += kind == 'n' ? '\n' : kind == 't' ? '\t' : '\\';
        }
    }
    return bytes;
}

}  // namespace

/// Escaped text is safe, says all that the bytes did, and does not depend on what follows.
void runEscape(std::string_view input) {
    const std::string safe = stream::escapeForDisplay(input);
    require(!actsOnTerminals(safe), "escaped text does nothing to a terminal", safe);
    require(stream::isUtf8(safe), "escaped text is UTF-8", safe);
    requireEqual(unescaped(safe), std::string(input), "escaped text tells every byte");
    if (stream::isUtf8(input) && !actsOnTerminals(input) && input.find('\\') == std::string_view::npos) {
        requireEqual(safe, std::string(input), "what is harmless stays as it is");
    }
    const std::string_view front = input.substr(0, input.size() / 2);
    if (stream::isUtf8(front)) {
        requireEqual(safe, stream::escapeForDisplay(front) + stream::escapeForDisplay(input.substr(front.size())),
                     "whole characters are escaped on their own");
    }
}

}  // namespace bex::fuzz

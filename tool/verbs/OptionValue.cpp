#include "verbs/OptionValue.hpp"

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"

namespace bex::tool {

std::pair<std::string, std::string> split(const std::string& text, std::size_t at, const char* option,
                                          const char* form) {
    if (at == std::string::npos || at == 0 || at + 1 > text.size()) {
        throw UsageError(std::string(option) + " " + stream::escapeForDisplay(text) + ": takes " + form);
    }
    return {text.substr(0, at), text.substr(at + 1)};
}

}  // namespace bex::tool

#include "bex/stream/Entry.hpp"

#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

/// Whether every component is plain, as far as its first character shows: a name such as ".profile" counts as not.
bool hasPlainLooks(std::string_view path) {
    char before = '/';
    for (const char c : path) {
        if (before == '/' && (c == '/' || c == '.')) {
            return false;
        }
        before = c;
    }
    return before != '/';
}

}  // namespace

std::string plainPath(std::string_view path) {
    // Most paths have "./" in front, and perhaps "/" at the end, and need no more than a look at the rest.
    std::string_view rest = path;
    if (rest.substr(0, 2) == "./") {
        rest.remove_prefix(2);
    }
    if (!rest.empty() && rest.back() == '/') {
        rest.remove_suffix(1);
    }
    if (hasPlainLooks(rest)) {
        return std::string(rest);
    }
    std::string plain;
    plain.reserve(path.size());
    forEachPart(path, '/', [&plain](std::string_view component) {
        if (!component.empty() && component != ".") {
            appendPart(plain, "/", component);
        }
    });
    return plain;
}

}  // namespace bex::stream

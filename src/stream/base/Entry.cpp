#include "bex/stream/Entry.hpp"

#include <algorithm>
#include <cstddef>

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
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        const std::string_view component = path.substr(0, end);
        path.remove_prefix(std::min(end + 1, path.size()));
        if (component.empty() || component == ".") {
            continue;
        }
        if (!plain.empty()) {
            plain += '/';
        }
        plain += component;
    }
    return plain;
}

}  // namespace bex::stream

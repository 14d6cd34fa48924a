#include "bex/stream/Entry.hpp"

#include <algorithm>
#include <cstddef>

namespace bex::stream {

std::string plainPath(std::string_view path) {
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

#include "stream/writer/Collection.hpp"

#include <algorithm>

namespace bex::stream {

std::string_view Collection::relativePath(const SourceEntry& entry) const noexcept {
    const std::string& prefix = origins[entry.origin].prefix;
    const std::string_view path = entry.path;
    return prefix.empty() ? path : path.substr(std::min(prefix.size() + 1, path.size()));
}

std::string Collection::sourcePath(const SourceEntry& entry) const {
    const Origin& origin = origins[entry.origin];
    std::string path = origin.source;
    const std::string_view relative = origin.singleFile ? std::string_view() : relativePath(entry);
    if (!relative.empty()) {
        if (path.back() != '/') {
            path += '/';
        }
        path += relative;
    }
    return path;
}

std::string Collection::sourceName(const SourceEntry& entry) const {
    return entry.isFromDisk() ? sourcePath(entry) : "what was added from memory";
}

}  // namespace bex::stream

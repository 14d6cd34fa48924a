#include "stream/writer/Collection.hpp"

#include <algorithm>
#include <utility>

#include "stream/base/Text.hpp"

namespace bex::stream {

std::optional<std::int64_t> SourceEntry::time() const noexcept {
    // What was given wins over what the disk says.
    if (given != nullptr) {
        return given->mtime;
    }
    if (!hasTime) {
        return std::nullopt;
    }
    return mtime;
}

std::uint32_t Collection::addOrigin(Origin origin) {
    origins.push_back(std::move(origin));
    // An index and not a pointer: the vector may move.
    return static_cast<std::uint32_t>(origins.size() - 1);
}

std::string_view Collection::relativePath(const SourceEntry& entry) const noexcept {
    const std::string& prefix = origins[entry.origin].prefix;
    std::string_view path = entry.path;
    if (!prefix.empty()) {
        // With the slash after the prefix, and without wrapping for the root, which has none.
        path.remove_prefix(std::min(prefix.size() + 1, path.size()));  // the tree's root is the prefix alone
    }
    return path;
}

std::string Collection::sourcePath(const SourceEntry& entry) const {
    const Origin& origin = origins[entry.origin];
    const std::string_view relative = relativePath(entry);
    if (origin.singleFile || relative.empty()) {
        return origin.source;
    }
    return joinedPath(origin.source, relative);
}

std::string Collection::sourceName(const SourceEntry& entry) const {
    if (entry.isFromDisk) {
        return sourcePath(entry);
    }
    if (entry.origin == SourceEntry::kNoOrigin) {
        return "contents from memory";
    }
    return origins[entry.origin].source;
}

Rollback::~Rollback() {
    if (!kept_) {
        collection_.entries.resize(entries_);
        collection_.origins.resize(origins_);
    }
}

}  // namespace bex::stream

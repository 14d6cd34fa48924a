#include "stream/writer/Collection.hpp"

#include <algorithm>
#include <utility>

namespace bex::stream {

std::optional<std::int64_t> SourceEntry::time() const noexcept {
    if (given != nullptr) {
        return given->mtime;
    }
    return hasTime ? std::optional(mtime) : std::nullopt;
}

std::uint32_t Collection::addOrigin(Origin origin) {
    origins.push_back(std::move(origin));
    return static_cast<std::uint32_t>(origins.size() - 1);
}

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
    if (entry.isFromDisk) {
        return sourcePath(entry);
    }
    return entry.origin == SourceEntry::kNoOrigin ? "what was added from memory" : origins[entry.origin].source;
}

Rollback::~Rollback() {
    if (!kept_) {
        collection_.entries.resize(entries_);
        collection_.origins.resize(origins_);
    }
}

}  // namespace bex::stream

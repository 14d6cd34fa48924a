#include "buildfile/contents/Payload.hpp"

#include <algorithm>
#include <utility>

#include "bex/stream/Pattern.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

using stream::EntryType;

void Payload::place(const std::string& path, Item item) {
    const auto [existing, added] = items_.try_emplace(path, item);
    if (added) {
        return;
    }
    const Item& earlier = existing->second;
    const bool areDirectories = earlier.type == EntryType::directory && item.type == EntryType::directory;
    // A tree after the line for one of its directories must not undo that line's attributes.
    if (areDirectories && earlier.isNamed && !item.isNamed) {
        return;
    }
    if (!areDirectories && (earlier.isNamed || !item.isNamed)) {
        fail(file_, item.at,
             quotedText("/" + path) + " is brought by line " + std::to_string(earlier.at.line) + " already");
    }
    existing->second = std::move(item);
}

std::size_t Payload::refine(const std::string& path, const Content& line) {
    const stream::Pattern pattern(path);
    std::size_t refined = 0;
    for (auto& [name, item] : items_) {
        const bool isMeant =
            // A directory as a config line means all files below it; other attributes are those of the entry
            // itself.
            line.isConfig ? pattern.matchesAtOrAbove(name) : pattern.matches(name);
        if (isMeant && refineItem(item, line)) {
            ++refined;
        }
    }
    return refined;
}

bool Payload::hasNamedOwners() const {
    return std::any_of(items_.begin(), items_.end(),
                       [](const auto& entry) { return hasNamedOwner(entry.second); });
}

/// The item's first name may have been left out, or a later line may have changed either: it is a file of its own
/// then.
bool Payload::isHardlink(const Item& item) const {
    if (item.linkTo.empty()) {
        return false;
    }
    const auto first = items_.find(item.linkTo);
    return first != items_.end() && areOneFile(first->second, item);
}

std::vector<PackagedFile> Payload::files() const {
    std::vector<PackagedFile> files;
    for (const auto& [path, item] : items_) {
        if (item.type == EntryType::file) {
            files.push_back({path, item.source, ""});
        } else if (item.type == EntryType::symlink) {
            files.push_back({path, "", item.source});
        }
    }
    return files;
}

void Payload::addTo(stream::PackageWriter& writer, const BuildFile::Substitute& substitute) const {
    for (const auto& [path, item] : items_) {
        if (item.type == EntryType::directory) {
            writer.addDirectory(path, item.attributes);
        } else if (item.type == EntryType::symlink) {
            writer.addSymlink(item.source, path, item.attributes);
        } else if (isHardlink(item)) {
            writer.addHardlink(item.linkTo, path);
        } else {
            const std::string instead = substitute(item.source);
            writer.addFile(std::string(stream::orIfEmpty(instead, item.source)), path, item.attributes);
        }
        if (item.isConffile) {
            writer.addConffile(path);
        }
    }
}

}  // namespace bex::buildfile

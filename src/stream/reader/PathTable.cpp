#include "stream/reader/PathTable.hpp"

#include <algorithm>

#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

bool isBelow(std::string_view path, std::string_view directory) {
    return path.size() > directory.size() && path[directory.size()] == '/' && startsWith(path, directory);
}

}  // namespace

PathTable::Outcome PathTable::add(std::string_view path, Kind kind) {
    // The path may share its first directories with the one before: most archives list a directory's files in a
    // row.
    std::size_t begin = reuseLastSteps(path);
    Id directory = lastSteps_.empty() ? 0 : lastSteps_.back().id;
    lastPath_ = path;
    bool parentMissing = false;
    // One round for each component; it ends, as every round but the last moves `begin` behind a slash.
    for (;;) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const bool last = end == path.size();
        const std::size_t before = nodes_.size();
        // In most archives a name comes right after the one before; where it does not, the hint costs little.
        last_ = nodes_.try_emplace(next(), {directory, std::string(path.substr(begin, end - begin))});
        const bool added = nodes_.size() != before;
        Node& node = last_->second;
        if (added) {
            // Ids count from 1: 0 is the root. Limits bound the entries and the length of their names.
            node.id = static_cast<Id>(nodes_.size());
            node.kind = last ? kind : Kind::impliedDirectory;
        }
        const bool isDirectory = node.kind == Kind::directory || node.kind == Kind::impliedDirectory;
        if (last) {
            if (added && parentMissing) {
                return Outcome::addedWithoutParent;
            }
            if (added) {
                return Outcome::added;
            }
            if (!isDirectory || kind != Kind::directory) {  // guard: the same path twice
                return Outcome::doubled;
            }
            if (node.kind == kind) {
                return Outcome::repeatedDirectory;
            }
            // It was only implied so far and gets its own entry now.
            node.kind = kind;
            return Outcome::added;
        }
        if (!isDirectory) {  // guard: a path below what is not a directory
            return Outcome::belowNoDirectory;
        }
        parentMissing = parentMissing || added;
        directory = node.id;
        lastSteps_.push_back({end, directory});
        begin = end + 1;
    }
}

/// Where a name would stand that follows the last one.
PathTable::Nodes::const_iterator PathTable::next() const {
    if (last_ == nodes_.end()) {
        return last_;
    }
    return std::next(last_);
}

/// Drops the steps that `path` does not share and tells where its first other component begins.
std::size_t PathTable::reuseLastSteps(std::string_view path) {
    // The innermost first: the next path is mostly in the same directory.
    while (!lastSteps_.empty() && !isBelow(path, std::string_view(lastPath_).substr(0, lastSteps_.back().end))) {
        lastSteps_.pop_back();
    }
    if (lastSteps_.empty()) {
        return 0;
    }
    return lastSteps_.back().end + 1;
}

bool PathTable::hasFile(std::string_view path) const {
    Id directory = 0;
    for (;;) {
        const std::size_t end = std::min(path.find('/'), path.size());
        const auto found = nodes_.find(std::pair(directory, path.substr(0, end)));
        if (found == nodes_.end() || end == path.size()) {
            return found != nodes_.end() && found->second.kind == Kind::file;
        }
        directory = found->second.id;
        path.remove_prefix(end + 1);
    }
}

}  // namespace bex::stream

#include "verbs/Tree.hpp"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "bex/stream/Escape.hpp"

namespace bex::tool {

using stream::Entry;
using stream::EntryType;
using stream::escapeForDisplay;

namespace {

std::string noteOf(const Entry& entry) {
    switch (entry.type) {
        case EntryType::directory:
            return "/";
        case EntryType::symlink:
            return " -> " + escapeForDisplay(entry.linkTarget);
        case EntryType::hardlink:
            return " = " + escapeForDisplay(entry.linkTarget);
        default:
            return "";
    }
}

}  // namespace

void Tree::add(const Entry& entry) {
    const std::string path = stream::plainPath(entry.path);
    std::size_t node = 0;
    // Directories above an entry need no entry of their own: they are made on the way. nodes_[0] is the root.
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        nodes_[node].note = "/";
        // The number is taken before the node is added below, and nodes are named by number: the vector moves when
        // it grows.
        const auto [child, added] = nodes_[node].children.emplace(path.substr(begin, end - begin), nodes_.size());
        node = child->second;
        if (added) {
            nodes_.emplace_back();
        }
        begin = end + 1;
    }
    // An entry that comes after what is below it still sets its own note.
    nodes_[node].note = noteOf(entry);
}

std::string Tree::text() const {
    struct Level {
        const Node* node;
        std::map<std::string, std::size_t>::const_iterator next;
    };
    std::string result;
    std::string indent;
    // Pointers and iterators into nodes_, which does not change here.
    std::vector<Level> levels = {{&nodes_[0], nodes_[0].children.begin()}};
    while (!levels.empty()) {
        Level& level = levels.back();
        // No recursion: a path may have thousands of components.
        if (level.next == level.node->children.end()) {
            levels.pop_back();
            indent.resize(indent.size() - std::min<std::size_t>(indent.size(), 4));
            continue;
        }
        const auto& [name, number] = *level.next++;
        const Node& node = nodes_[number];
        const bool last = level.next == level.node->children.end();
        result.append(indent).append(last ? "`-- " : "|-- ");
        result.append(escapeForDisplay(name)).append(node.note).append("\n");
        indent += last ? "    " : "|   ";
        levels.push_back({&node, node.children.begin()});
    }
    return result;
}

}  // namespace bex::tool

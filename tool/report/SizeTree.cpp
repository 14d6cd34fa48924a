#include "report/SizeTree.hpp"

#include <algorithm>

namespace bex::tool {

namespace {

// The drawing calls itself for each level, and the depth is the package's to choose. Deeper paths end in one
// name.
constexpr std::size_t kDeepest = 24;

}  // namespace

SizeTree::SizeTree(const std::vector<EntryFigures>& entries) {
    nodes_.push_back({"", true, 0, 0, {}});
    for (const EntryFigures& entry : entries) {
        // Entries without contents have no area.
        if (entry.size > 0) {
            add(entry);
        }
    }
    // Only add() needs it.
    directories_.clear();
    for (Node& node : nodes_) {
        std::sort(node.children.begin(), node.children.end(), [this](std::size_t a, std::size_t b) {
            // The largest first, as the layout wants it; of equal ones the first of the package, so that the page
            // is the same each time.
            return std::pair(nodes_[b].size, a) < std::pair(nodes_[a].size, b);
        });
    }
}

void SizeTree::add(const EntryFigures& entry) {
    std::string_view rest = entry.path;
    std::size_t place = kRoot;
    const auto count = [&] {
        nodes_[place].size += entry.size;
        nodes_[place].packed += entry.packed;
    };
    count();
    for (std::size_t depth = 0; depth < kDeepest && rest.find('/') != std::string_view::npos; ++depth) {
        const std::size_t end = rest.find('/');
        place = childOf(place, rest.substr(0, end));
        rest.remove_prefix(end + 1);
        count();
    }
    nodes_[place].children.push_back(nodes_.size());
    nodes_.push_back({std::string(rest), false, entry.size, entry.packed, {}});
}

std::size_t SizeTree::childOf(std::size_t parent, std::string_view name) {
    // Looked up by parent and name: a directory's entries need not be neighbours in the payload.
    const auto [found, isNew] = directories_.try_emplace({parent, std::string(name)}, nodes_.size());
    if (isNew) {
        nodes_[parent].children.push_back(nodes_.size());
        nodes_.push_back({std::string(name), true, 0, 0, {}});
    }
    return found->second;
}

}  // namespace bex::tool

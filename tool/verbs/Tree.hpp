#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "bex/stream/Entry.hpp"

namespace bex::tool {

/// Draws paths as a tree, in any order that they come in.
class Tree {
public:
    void add(const stream::Entry& entry);

    /// One line an entry, names escaped; "" when nothing was added.
    std::string text() const;

private:
    /// Nodes refer to each other by number: nothing recurses, however deep a package's paths are.
    struct Node {
        std::map<std::string, std::size_t> children;
        std::string note;  ///< what follows the name: "/" or the link's target
    };

    std::vector<Node> nodes_ = std::vector<Node>(1);
};

}  // namespace bex::tool

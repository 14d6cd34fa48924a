#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "report/Figures.hpp"

namespace bex::tool {

/// Files by directory, with the sizes of all that is below each. Deeper directories than 24 are not told apart.
class SizeTree {
public:
    struct Node {
        std::string name;  ///< one component of a path, not escaped
        bool isDirectory = false;
        std::uint64_t size = 0;
        std::uint64_t packed = 0;
        std::vector<std::size_t> children;  ///< numbers of nodes, the largest first
    };

    explicit SizeTree(const std::vector<EntryFigures>& entries);

    static constexpr std::size_t kRoot = 0;
    const Node& node(std::size_t number) const { return nodes_[number]; }

private:
    void add(const EntryFigures& entry);
    std::size_t childOf(std::size_t parent, std::string_view name);

    std::vector<Node> nodes_;
    std::map<std::pair<std::size_t, std::string>, std::size_t> directories_;  // by parent and name
};

}  // namespace bex::tool

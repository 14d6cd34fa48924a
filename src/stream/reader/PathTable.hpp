#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bex::stream {

/// The paths of a package so far, as a tree of names. Nothing else grows with the number of entries: some 100
/// bytes for each path, and the name once more when it is longer than 15 bytes. The time for a path grows with its
/// length and the logarithm of the number of paths.
class PathTable {
public:
    enum class Kind : std::uint8_t { impliedDirectory, directory, file, symlink };

    enum class Outcome {
        added,
        addedWithoutParent,  ///< the first path below a directory that has not been added before
        repeatedDirectory,
        doubled,           ///< the path is there already
        belowNoDirectory,  ///< a component on the way is there already, and is not a directory
    };

    /// Adds `path` in plainPath() form, not "", and the directories above it.
    Outcome add(std::string_view path, Kind kind);

    /// Whether `path`, in plainPath() form, is there as a file.
    bool hasFile(std::string_view path) const;

    /// Paths and the directories above them.
    std::size_t size() const noexcept { return nodes_.size(); }

private:
    using Id = std::uint32_t;
    struct Node {
        Id id = 0;
        Kind kind = Kind::impliedDirectory;
    };
    struct Less {
        using is_transparent = void;
        template <typename Left, typename Right>
        bool operator()(const Left& left, const Right& right) const noexcept {
            return left.first != right.first ? left.first < right.first
                                             : std::string_view(left.second) < std::string_view(right.second);
        }
    };
    struct Step {
        std::size_t end = 0;  ///< of the directory's path in lastPath_
        Id id = 0;
    };

    using Nodes = std::map<std::pair<Id, std::string>, Node, Less>;

    std::size_t reuseLastSteps(std::string_view path);
    Nodes::const_iterator next() const;

    // By the directory's id and the name in it; ids count up from the root's 0. An id stands for the directory's
    // path in the keys of all that is in it, so that a deep tree costs no more than its names.
    Nodes nodes_;
    Nodes::iterator last_ = nodes_.end();  // what add() found or made last
    std::string lastPath_;
    std::vector<Step> lastSteps_;  // the directories above lastPath_; the next path has most of them, too
};

}  // namespace bex::stream

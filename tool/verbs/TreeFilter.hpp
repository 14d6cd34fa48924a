#pragma once

#include <string>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "output/Console.hpp"

namespace bex::tool {

/// The directory of a tree that describes the package and is not part of the payload.
constexpr const char* kControlDirectory = "DEBIAN";

/// Which entries of the tree are payload: all but DEBIAN, the package that is being written, and, with a note,
/// other packages NAME_*_ARCH.* of the same name and architecture in the tree's top directory. Copyable.
class TreeFilter {
public:
    /// `target` is the package to be written, "" for none that has a path. `console` must outlive this.
    TreeFilter(std::string tree, const std::string& target, const stream::ControlParagraph& control,
               Console& console);

    bool operator()(const stream::Entry& entry) const;

private:
    bool isOtherPackage(const std::string& name) const;

    std::string tree_;
    std::string target_;  ///< relative to the tree; "" where it is elsewhere
    std::string begin_;   ///< of such a package's name
    std::string middle_;  ///< what stands between version and suffix
    Console& console_;
};

}  // namespace bex::tool

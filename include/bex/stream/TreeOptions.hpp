#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bex/stream/Entry.hpp"

namespace bex::stream {

/// How PackageWriter::addTree() packages a tree.
struct TreeOptions {
    /// Directory in the package for the tree, such as "opt/site"; "" is the root.
    std::string prefix;
    /// Patterns, as in Pattern, of paths relative to the tree. Entries that match are left out, with everything
    /// below them.
    std::vector<std::string> exclude;
    /// Leaves out sockets, FIFOs and devices instead of refusing them.
    bool skipSpecialFiles = false;
    /// Called for everything below the tree's root that no pattern excludes: false leaves the entry out, with
    /// everything below it. Its path begins with "./" and is relative to the tree; attributes and numbers of
    /// owners are those on disk. Directories are not read before they are accepted.
    std::function<bool(const Entry&)> filter = nullptr;
    /// Gives the tree's root the mode that it has on disk instead of 0755. A scratch directory that a tree was
    /// prepared in is often private to its user.
    bool keepRootMode = false;
    /// Threads that read directories, at most 16 of them; 0: one for each processor. What is packaged, and the
    /// error that is thrown, do not depend on them; the filter is called in the caller's thread alone.
    unsigned threads = 0;
};

}  // namespace bex::stream

#pragma once

#include <functional>
#include <string>

#include "bex/stream/Entry.hpp"
#include "buildfile/contents/Item.hpp"
#include "buildfile/model/Description.hpp"

namespace bex::buildfile {

/// Which entries of a directory on this machine become items, and where. Entries' paths are relative to `root`.
struct DirectoryWalk {
    std::string root;
    std::function<bool(const stream::Entry&)> filter;         ///< whether an entry is read; null: all
    std::function<std::string(const stream::Entry&)> place;   ///< the path in the package; "" for nowhere
    std::function<bool(const std::string& path)> keeps = {};  ///< whether a directory becomes an item; null: none
};

/// Calls `take` with each item and its path in the package. Throws StreamError, at the line's src, for what cannot
/// be read or packaged.
void walkDirectory(const DirectoryWalk& walk, const Content& line, const Description& description,
                   const std::function<void(const std::string& path, Item item)>& take);

}  // namespace bex::buildfile

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "bex/buildfile/BuildFile.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "buildfile/contents/Item.hpp"

namespace bex::buildfile {

/// The entries of the package to be, by path. Paths are plain: two spellings of one place must be one entry.
class Payload {
public:
    /// `file` is the build file, for messages.
    explicit Payload(std::string file) : file_(std::move(file)) {}

    /// Adds the item or replaces an earlier one. An item of a line that names one entry replaces what a walk
    /// brought; directories may come any number of times. Throws StreamError, at the item's line, for any other
    /// second entry of one path.
    void place(const std::string& path, Item item);

    /// Changes the items that a line without src means, and returns how many they are. `path` may be a pattern.
    /// Takes time linear in the items so far; such lines are few.
    std::size_t refine(const std::string& path, const Content& line);

    bool has(const std::string& path) const { return items_.count(path) != 0; }
    bool hasNamedOwners() const;

    /// The regular files and symlinks, in the order of addTo().
    std::vector<PackagedFile> files() const;

    void addTo(stream::PackageWriter& writer, const BuildFile::Substitute& substitute) const;

private:
    bool isHardlink(const Item& item) const;

    std::string file_;
    std::map<std::string, Item> items_;
};

}  // namespace bex::buildfile

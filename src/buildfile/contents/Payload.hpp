#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "bex/buildfile/BuildFile.hpp"
#include "bex/stream/Attributes.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "buildfile/contents/Glob.hpp"
#include "buildfile/model/Description.hpp"

namespace bex::buildfile {

/// An entry of the package to be.
struct Item {
    stream::EntryType type = stream::EntryType::file;
    std::string source;  ///< on this machine; of a symlink what it leads to
    std::string linkTo;  ///< the path in the package of another name of the same file; "" for none
    stream::Attributes attributes;
    bool isConffile = false;
    bool isNamed = false;  ///< by a line of its own, which nothing replaces
    Spot at;               ///< of the line that brought it
};

/// What the lines of `contents` bring, by path. A line that names one entry replaces what a directory or glob
/// brought before it; of any two others for one path the second is an error.
class Payload {
public:
    /// `description` must outlive this.
    explicit Payload(const Description& description) : description_(description) {}

    /// Throws StreamError, at the line's place in the build file, for what is not there or not right.
    void add(const Content& line);
    /// A file of this machine under the path, which is plain, with mode 0644.
    void addFile(const NamedPath& source, const std::string& path);

    bool has(const std::string& path) const { return items_.count(path) != 0; }
    /// Whether an entry belongs to somebody whose number only the installing system knows.
    bool hasNamedOwners() const;

    /// The regular files and symlinks, in the order of their paths.
    std::vector<PackagedFile> files() const;

    void addTo(stream::PackageWriter& writer, const BuildFile::Substitute& substitute) const;

private:
    /// Where an entry of a directory, with its path relative to it, goes in the package; "" for nowhere.
    using Placing = std::function<std::string(const stream::Entry&)>;
    struct Walk {
        std::string root;
        std::function<bool(const stream::Entry&)> filter;
        Placing place;
        std::function<bool(const std::string& path)> keeps;  ///< whether a directory becomes an entry; null: none
    };

    void addSymlink(const Content& line);
    void addDirectory(const Content& line);
    void addTree(const Content& line);
    void addFiles(const Content& line);
    void addGlob(const Content& line);
    void addWalked(const Content& line, const Walk& walk);
    void addOne(const Content& line);
    void refine(const Content& line);
    bool refineItem(const Content& line, Item& item) const;

    void place(const std::string& path, Item item);
    Glob globOf(const std::string& pattern, Spot at) const;
    std::string pathOf(const Content& line) const;
    stream::Attributes attributesOf(const Content& line, const stream::Entry& entry) const;
    void setOwner(const FileInfo& info, stream::Attributes& attributes) const;
    bool isSameFile(const Item& item) const;

    const Description& description_;
    std::map<std::string, Item> items_;
};

}  // namespace bex::buildfile

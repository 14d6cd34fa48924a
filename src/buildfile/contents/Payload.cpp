#include "buildfile/contents/Payload.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <tuple>
#include <utility>
#include <vector>

#include "bex/stream/StreamError.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

using stream::Attributes;
using stream::Entry;
using stream::EntryType;

namespace {

// st_mode without the bits for the type of the file.
constexpr std::uint32_t kPermissions = 07777;

bool endsInSlash(const std::string& path) {
    return !path.empty() && path.back() == '/';
}

/// A plain path, the key of items_: two spellings of one place must be one entry.
std::string joined(const std::string& directory, const std::string& name) {
    return stream::plainPath(directory + "/" + name);
}

std::string baseName(const std::string& path) {
    const std::string plain = stream::plainPath(path);
    return plain.substr(plain.rfind('/') + 1);
}

/// lstat(): a symlink that leads nowhere has a name that is meant as it is, too.
bool exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

/// A hard link has the attributes of its first name, so they must agree to the last one.
bool equal(const Attributes& left, const Attributes& right) {
    const auto tied = [](const Attributes& a) {
        return std::tie(a.mode, a.mtime, a.uid, a.gid, a.owner, a.group);
    };
    return tied(left) == tied(right);
}

}  // namespace

void Payload::add(const Content& line) {
    // A line without src changes what came before; only a directory needs no source to be made.
    if (line.source.path.empty() && line.type != ContentType::directory) {
        refine(line);
        return;
    }
    switch (line.type) {
        case ContentType::symlink:
            addSymlink(line);
            break;
        case ContentType::directory:
            addDirectory(line);
            break;
        case ContentType::tree:
            addTree(line);
            break;
        case ContentType::file:
            addFiles(line);
            break;
    }
}

void Payload::addFile(const NamedPath& source, const std::string& path) {
    Content line;
    line.at = source.at;
    line.source = source;
    line.destination = path;
    // Files of the system's own kind, such as units: the mode on disk and the umask of a checkout do not count.
    line.info.mode = 0644;
    addOne(line);
}

std::string Payload::pathOf(const Content& line) const {
    // plainPath() would keep "..", and the path could lead out of the package's root.
    if (stream::hasParentComponent(line.destination)) {
        fail(description_.file, line.at, quotedText(line.destination) + ": a path in a package can't hold \"..\"");
    }
    return stream::plainPath(line.destination);
}

/// Keeps the rule of the class: a line that names one entry replaces what a walk brought; directories may come any
/// number of times; any other second entry for one path is an error at its line.
void Payload::place(const std::string& path, Item item) {
    const auto [existing, added] = items_.try_emplace(path, item);
    if (added) {
        return;
    }
    const Item& earlier = existing->second;
    const bool areDirectories = earlier.type == EntryType::directory && item.type == EntryType::directory;
    // A tree after the line for one of its directories must not undo that line's attributes.
    if (areDirectories && earlier.isNamed && !item.isNamed) {
        return;
    }
    if (!areDirectories && (earlier.isNamed || !item.isNamed)) {
        fail(description_.file, item.at,
             quotedText("/" + path) + " is brought by line " + std::to_string(earlier.at.line) + " already");
    }
    existing->second = std::move(item);
}

void Payload::setOwner(const FileInfo& info, Attributes& attributes) const {
    // Only what the line gives is set: a refining line with an owner alone keeps the group.
    const stream::Ownership ownership = stream::ownershipOf(info.owner, info.group);
    if (!info.owner.empty()) {
        attributes.uid = ownership.uid;
        attributes.owner = ownership.owner;
    }
    if (!info.group.empty()) {
        attributes.gid = ownership.gid;
        attributes.group = ownership.group;
    }
}

/// The mode that a line gives is that of its files; directories of a tree keep theirs, or nobody could enter them.
Attributes Payload::attributesOf(const Content& line, const Entry& entry) const {
    Attributes attributes;
    attributes.mode = entry.mode & kPermissions & ~description_.umask;
    if (entry.type != EntryType::directory || line.type == ContentType::directory) {
        attributes.mode = line.info.mode.value_or(attributes.mode);
    }
    attributes.mtime = line.info.mtime.value_or(entry.mtime);
    setOwner(line.info, attributes);
    return attributes;
}

void Payload::addSymlink(const Content& line) {
    Item item;
    item.type = EntryType::symlink;
    // For a symlink src is the text of the link and need not exist on this machine.
    item.source = line.source.path;
    item.attributes.mtime = description_.mtime;
    if (line.info.mtime) {
        item.attributes.mtime = line.info.mtime;
    }
    setOwner(line.info, item.attributes);
    item.isNamed = true;
    item.at = line.at;
    place(pathOf(line), std::move(item));
}

void Payload::addDirectory(const Content& line) {
    Item item;
    item.type = EntryType::directory;
    item.isNamed = true;
    item.at = line.at;
    if (line.source.path.empty()) {
        item.attributes.mode = line.info.mode.value_or(0755);
        item.attributes.mtime = description_.mtime;
        if (line.info.mtime) {
            item.attributes.mtime = line.info.mtime;
        }
        setOwner(line.info, item.attributes);
    } else {
        struct stat status {};
        // stat() and not lstat(): the directory's attributes are meant, also where src is a symlink to it.
        if (stat(line.source.path.c_str(), &status) != 0) {
            failSystem(description_.file, line.source.at, line.source.path, errno);
        }
        Entry entry;
        entry.type = EntryType::directory;
        entry.mode = status.st_mode;
        entry.mtime = status.st_mtim.tv_sec;
        item.attributes = attributesOf(line, entry);
    }
    place(pathOf(line), std::move(item));
}

void Payload::addTree(const Content& line) {
    const std::string path = pathOf(line);
    std::vector<Glob> disowned;
    for (const std::string& pattern : line.disowned) {
        disowned.push_back(globOf(stream::plainPath(pattern), line.at));
    }
    const auto placing = [&](const Entry& entry) { return joined(path, entry.path); };
    // The writer makes a directory that is left out where something is below it.
    const auto keeps = [&](const std::string& directory) {
        return std::none_of(disowned.begin(), disowned.end(),
                            [&](const Glob& glob) { return glob.matches(directory); });
    };
    // The walk's functions are called within addWalked() alone, so that references to locals stay valid.
    addWalked(line, {line.source.path, nullptr, placing, keeps});
}

void Payload::addFiles(const Content& line) {
    const std::string& source = line.source.path;
    // A file whose name has a character such as "[" is taken as that file.
    if (description_.globbing && Glob::isGlob(source) && !exists(source)) {
        addGlob(line);
        return;
    }
    struct stat status {};
    if (stat(source.c_str(), &status) != 0) {
        failSystem(description_.file, line.source.at, source, errno);
    }
    if (!S_ISDIR(status.st_mode)) {
        addOne(line);
        return;
    }
    const std::string path = pathOf(line);
    // With a slash at the end of dst, the files of a directory go into it without the directories between.
    const bool flat = endsInSlash(line.destination);
    const auto placing = [&](const Entry& entry) {
        return joined(path, flat ? baseName(entry.path) : entry.path);
    };
    addWalked(line, {source, nullptr, placing, nullptr});
}

void Payload::addOne(const Content& line) {
    struct stat status {};
    if (stat(line.source.path.c_str(), &status) != 0) {
        failSystem(description_.file, line.source.at, line.source.path, errno);
    }
    // An entry as a walk would give it, so that one function makes the attributes of both.
    Entry entry;
    entry.mode = status.st_mode;
    entry.mtime = status.st_mtim.tv_sec;
    Item item;
    item.source = line.source.path;
    item.attributes = attributesOf(line, entry);
    item.isConffile = line.isConfig;
    item.isNamed = true;
    item.at = line.at;
    std::string path = pathOf(line);
    // pathOf() has cut the slash off, which meant: keep the source's name.
    if (endsInSlash(line.destination)) {
        path = joined(path, baseName(line.source.path));
    }
    place(path, std::move(item));
}

/// The glob, with the place of the line in the error for braces that stand for too much.
Glob Payload::globOf(const std::string& pattern, Spot at) const {
    try {
        return Glob(pattern);
    } catch (const std::length_error& e) {
        fail(description_.file, at, quotedText(pattern) + ": " + e.what());
    }
}

void Payload::addGlob(const Content& line) {
    const Glob glob = globOf(line.source.path, line.source.at);
    const std::string path = pathOf(line);
    std::size_t found = 0;
    const auto filter = [&](const Entry& entry) {
        const std::string name = stream::plainPath(entry.path);
        // Directories that lead to no match are not entered, so that the walk stays near what the pattern names.
        return glob.takes(name) || (entry.type == EntryType::directory && glob.mayBeBelow(name));
    };
    const auto placing = [&](const Entry& entry) {
        const std::string name = stream::plainPath(entry.path);
        if (!glob.takes(name)) {
            return std::string();
        }
        ++found;
        return joined(path, name);
    };
    addWalked(line, {glob.root(), filter, placing, nullptr});
    if (found == 0) {
        fail(description_.file, line.source.at, "nothing matches " + quotedText(line.source.path));
    }
}

/// Walks by the writer's own scanner, which names what cannot be packaged, and by its plan, which knows the hard
/// links. Directories that a line does not keep are made with the package's usual mode where files need them.
void Payload::addWalked(const Content& line, const Walk& walk) {
    std::vector<Entry> entries;
    try {
        // A writer that writes nothing: it is dropped after its plan was read.
        stream::PackageWriter scan;
        stream::TreeOptions options;
        options.filter = walk.filter;
        scan.addTree(walk.root, options);
        entries = scan.plan();
    } catch (const stream::StreamError& e) {
        stream::ErrorRecord record = e.record();
        // The scanner's message names the file on disk; the record then names the line that asked for it.
        record.reason = e.what();
        record.package = description_.file;
        record.line = line.source.at.line;
        record.column = line.source.at.column;
        throw stream::StreamError(record);
    }
    for (const Entry& entry : entries) {
        const bool isDirectory = entry.type == EntryType::directory;
        // addTo() needs no entries for them: the writer makes the directories above each file.
        if (isDirectory && !walk.keeps) {
            continue;
        }
        const std::string path = walk.place(entry);
        if (isDirectory && !walk.keeps(path)) {
            continue;
        }
        // Placed nowhere. Of a directory the empty path is the root of the package, which a tree may bring.
        if (path.empty() && !isDirectory) {
            continue;
        }
        Item item;
        item.type = entry.type;
        item.source = walk.root + "/" + stream::plainPath(entry.path);
        item.attributes = attributesOf(line, entry);
        item.at = line.at;
        if (entry.type == EntryType::symlink) {
            item.source = entry.linkTarget;
        } else if (entry.type == EntryType::hardlink) {
            Entry first;
            first.path = entry.linkTarget;
            item.type = EntryType::file;
            // The first name may have been left out or be changed by a later line: isSameFile() decides when all
            // are known.
            item.linkTo = walk.place(first);
        }
        item.isConffile = line.isConfig && item.type == EntryType::file;
        place(path, std::move(item));
    }
}

/// Whether the line could refine the item: only regular files can be conffiles.
bool Payload::refineItem(const Content& line, Item& item) const {
    if (line.isConfig && item.type != EntryType::file) {
        return false;
    }
    item.isConffile = item.isConffile || line.isConfig;
    item.attributes.mode = line.info.mode.value_or(item.attributes.mode);
    if (line.info.mtime) {
        item.attributes.mtime = line.info.mtime;
    }
    setOwner(line.info, item.attributes);
    return true;
}

void Payload::refine(const Content& line) {
    if (line.type == ContentType::symlink || line.type == ContentType::tree) {
        fail(description_.file, line.at, "a line of contents of this type needs a src");
    }
    const std::string path = pathOf(line);
    // Linear in the entries so far for each line that refines; such lines are few.
    const stream::Pattern pattern(path);
    std::size_t refined = 0;
    for (auto& [name, item] : items_) {
        const bool isMeant =
            // A directory as a config line means all files below it; other attributes are those of the entry
            // itself.
            line.isConfig ? pattern.matchesAtOrAbove(name) : pattern.matches(name);
        if (isMeant && refineItem(line, item)) {
            ++refined;
        }
    }
    // A line without effect is a mistake in the name, or stands before what it should refine.
    if (refined == 0) {
        fail(description_.file, line.at,
             "src is missing, and no line before it brings " + quotedText(line.destination));
    }
}

bool Payload::hasNamedOwners() const {
    return std::any_of(items_.begin(), items_.end(), [](const auto& item) {
        const Attributes& attributes = item.second.attributes;
        // Owners by number, and root, exist on every system.
        const auto isNamed = [](const std::string& name) { return !name.empty() && name != "root"; };
        return isNamed(attributes.owner) || isNamed(attributes.group);
    });
}

/// Whether the item can be a hard link to the one it names: a later line may have changed either.
bool Payload::isSameFile(const Item& item) const {
    // Entries of different lines are different files, or one replaced the other's: then each is written as a file.
    const auto first = items_.find(item.linkTo);
    return first != items_.end() && first->second.at.line == item.at.line &&
           equal(first->second.attributes, item.attributes);
}

/// In the order of the map, which is that of addTo().
std::vector<PackagedFile> Payload::files() const {
    std::vector<PackagedFile> files;
    for (const auto& [path, item] : items_) {
        if (item.type == EntryType::file) {
            files.push_back({path, item.source, ""});
        } else if (item.type == EntryType::symlink) {
            files.push_back({path, "", item.source});
        }
    }
    return files;
}

void Payload::addTo(stream::PackageWriter& writer, const BuildFile::Substitute& substitute) const {
    for (const auto& [path, item] : items_) {
        if (item.type == EntryType::directory) {
            writer.addDirectory(path, item.attributes);
        } else if (item.type == EntryType::symlink) {
            writer.addSymlink(item.source, path, item.attributes);
        } else if (!item.linkTo.empty() && isSameFile(item)) {
            writer.addHardlink(item.linkTo, path);
        } else {
            const std::string instead = substitute(item.source);
            writer.addFile(std::string(stream::orIfEmpty(instead, item.source)), path, item.attributes);
        }
        if (item.isConffile) {
            writer.addConffile(path);
        }
    }
}

}  // namespace bex::buildfile

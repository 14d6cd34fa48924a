#include "buildfile/contents/ContentLines.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <utility>
#include <vector>

#include "stream/base/Text.hpp"

namespace bex::buildfile {

using stream::Entry;
using stream::EntryType;

namespace {

bool endsInSlash(const std::string& path) {
    return !path.empty() && path.back() == '/';
}

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

}  // namespace

void ContentLines::add(const Content& line) {
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

void ContentLines::addFile(const NamedPath& source, const std::string& path) {
    Content line;
    line.at = source.at;
    line.source = source;
    line.destination = path;
    // Files of the system's own kind, such as units: the mode on disk and the umask of a checkout do not count.
    line.info.mode = 0644;
    addOne(line);
}

std::string ContentLines::pathOf(const Content& line) const {
    // plainPath() would keep "..", and the path could lead out of the package's root.
    if (stream::hasParentComponent(line.destination)) {
        fail(description_.file, line.at, quotedText(line.destination) + ": a path in a package can't hold \"..\"");
    }
    return stream::plainPath(line.destination);
}

/// Mode and time of the line's src, as a walk would give them. stat() and not lstat(): of a symlink, the
/// attributes of its target are meant.
Entry ContentLines::entryOf(const Content& line) const {
    struct stat status {};
    if (stat(line.source.path.c_str(), &status) != 0) {
        failSystem(description_.file, line.source.at, line.source.path, errno);
    }
    Entry entry;
    entry.mode = status.st_mode;
    entry.mtime = status.st_mtim.tv_sec;
    return entry;
}

void ContentLines::addSymlink(const Content& line) {
    Item item;
    item.type = EntryType::symlink;
    // For a symlink src is the text of the link and need not exist on this machine.
    item.source = line.source.path;
    item.attributes = attributesOfNew(line.info, description_.mtime);
    item.isNamed = true;
    item.at = line.at;
    payload_.place(pathOf(line), std::move(item));
}

void ContentLines::addDirectory(const Content& line) {
    Item item;
    item.type = EntryType::directory;
    item.isNamed = true;
    item.at = line.at;
    if (line.source.path.empty()) {
        item.attributes = attributesOfNew(line.info, description_.mtime);
        item.attributes.mode = line.info.mode.value_or(0755);
    } else {
        item.attributes = attributesOnDisk(line, entryOf(line), description_.umask);
    }
    payload_.place(pathOf(line), std::move(item));
}

void ContentLines::addFiles(const Content& line) {
    const std::string& source = line.source.path;
    // A file whose name has a character such as "[" is taken as that file.
    if (description_.globbing && Glob::isGlob(source) && !exists(source)) {
        addGlob(line);
    } else if (S_ISDIR(entryOf(line).mode)) {
        addFilesBelow(line);
    } else {
        addOne(line);
    }
}

void ContentLines::addOne(const Content& line) {
    Item item;
    item.source = line.source.path;
    item.attributes = attributesOnDisk(line, entryOf(line), description_.umask);
    item.isConffile = line.isConfig;
    item.isNamed = true;
    item.at = line.at;
    std::string path = pathOf(line);
    // pathOf() has cut the slash off, which meant: keep the source's name.
    if (endsInSlash(line.destination)) {
        path = joined(path, baseName(line.source.path));
    }
    payload_.place(path, std::move(item));
}

void ContentLines::addFilesBelow(const Content& line) {
    const std::string path = pathOf(line);
    // With a slash at the end of dst, the files of a directory go into it without the directories between.
    const bool flat = endsInSlash(line.destination);
    const auto placing = [&](const Entry& entry) {
        return joined(path, flat ? baseName(entry.path) : entry.path);
    };
    addWalked(line, {line.source.path, nullptr, placing});
}

void ContentLines::addTree(const Content& line) {
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
    addWalked(line, {line.source.path, nullptr, placing, keeps});
}

/// The glob, with the place of the line in the error for braces that stand for too much.
Glob ContentLines::globOf(const std::string& pattern, Spot at) const {
    try {
        return Glob(pattern);
    } catch (const std::length_error& e) {
        fail(description_.file, at, quotedText(pattern) + ": " + e.what());
    }
}

void ContentLines::addGlob(const Content& line) {
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
    addWalked(line, {glob.root(), filter, placing});
    if (found == 0) {
        fail(description_.file, line.source.at, "nothing matches " + quotedText(line.source.path));
    }
}

/// The walk's functions are called within this function alone, so that they may refer to a caller's locals.
void ContentLines::addWalked(const Content& line, const DirectoryWalk& walk) {
    walkDirectory(walk, line, description_,
                  [this](const std::string& path, Item item) { payload_.place(path, std::move(item)); });
}

void ContentLines::refine(const Content& line) {
    if (line.type == ContentType::symlink || line.type == ContentType::tree) {
        fail(description_.file, line.at, "a line of contents of this type needs a src");
    }
    // A line without effect is a mistake in the name, or stands before what it should refine.
    if (payload_.refine(pathOf(line), line) == 0) {
        fail(description_.file, line.at,
             "src is missing, and no line before it brings " + quotedText(line.destination));
    }
}

}  // namespace bex::buildfile

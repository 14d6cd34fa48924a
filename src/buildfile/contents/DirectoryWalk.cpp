#include "buildfile/contents/DirectoryWalk.hpp"

#include <utility>
#include <vector>

#include "bex/stream/PackageWriter.hpp"
#include "bex/stream/StreamError.hpp"

namespace bex::buildfile {

using stream::Entry;
using stream::EntryType;

namespace {

/// Walks by the writer's own scanner, which names what cannot be packaged, and by its plan, which knows the hard
/// links.
std::vector<Entry> entriesOf(const DirectoryWalk& walk, const std::string& file, Spot at) {
    try {
        // A writer that writes nothing: it is dropped after its plan was read.
        stream::PackageWriter scan;
        stream::TreeOptions options;
        options.filter = walk.filter;
        scan.addTree(walk.root, options);
        return scan.plan();
    } catch (const stream::StreamError& e) {
        stream::ErrorRecord record = e.record();
        // The scanner's message names the file on disk; the record then names the line that asked for it.
        record.reason = e.what();
        record.package = file;
        record.line = at.line;
        record.column = at.column;
        throw stream::StreamError(record);
    }
}

Item itemOf(const Entry& entry, const DirectoryWalk& walk, const Content& line, std::uint32_t umask) {
    Item item;
    item.type = entry.type;
    item.source = walk.root + "/" + stream::plainPath(entry.path);
    item.attributes = attributesOnDisk(line, entry, umask);
    item.at = line.at;
    if (entry.type == EntryType::symlink) {
        item.source = entry.linkTarget;
    } else if (entry.type == EntryType::hardlink) {
        Entry first;
        first.path = entry.linkTarget;
        // The payload decides whether it becomes a hard link when all items are known.
        item.type = EntryType::file;
        item.linkTo = walk.place(first);
    }
    item.isConffile = line.isConfig && item.type == EntryType::file;
    return item;
}

}  // namespace

void walkDirectory(const DirectoryWalk& walk, const Content& line, const Description& description,
                   const std::function<void(const std::string& path, Item item)>& take) {
    for (const Entry& entry : entriesOf(walk, description.file, line.source.at)) {
        const bool isDirectory = entry.type == EntryType::directory;
        // The writer makes the directories above each file, with the usual mode, so they need no items.
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
        take(path, itemOf(entry, walk, line, description.umask));
    }
}

}  // namespace bex::buildfile

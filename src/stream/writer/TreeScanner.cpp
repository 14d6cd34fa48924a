#include "stream/writer/TreeScanner.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"
#include "stream/base/Place.hpp"
#include "stream/reader/EntryPolicy.hpp"
#include "stream/system/Descriptor.hpp"
#include "stream/system/OpenLongPath.hpp"
#include "stream/writer/PackagePath.hpp"

namespace bex::stream {

namespace {

constexpr std::uint32_t kRootMode = 0755;
constexpr int kOpenDirectory = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

struct CloseDirectory {
    System* system;
    void operator()(DIR* directory) const noexcept { system->closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

EntryType typeOf(mode_t mode) noexcept {
    switch (mode & S_IFMT) {
        case S_IFREG:
            return EntryType::file;
        case S_IFDIR:
            return EntryType::directory;
        case S_IFLNK:
            return EntryType::symlink;
        case S_IFCHR:
            return EntryType::characterDevice;
        case S_IFBLK:
            return EntryType::blockDevice;
        case S_IFIFO:
            return EntryType::fifo;
        default:
            return EntryType::other;
    }
}

std::string joined(std::string_view directory, std::string_view name) {
    std::string path(directory);
    // Never two slashes in a row: a directory given as "/" or "src/" keeps its own.
    if (!path.empty() && path.back() != '/') {
        path += '/';
    }
    path += name;
    return path;
}

[[noreturn]] void refuse(std::string_view where, const std::string& reason) {
    throw invalidInput(std::string(where), reason);
}

}  // namespace

/// A name in an open directory, and what stands there.
struct TreeScanner::Found {
    int directory;
    const char* name;
    struct stat status;
    std::uint32_t origin;
};

void TreeScanner::scanTree(const std::string& source, const TreeOptions& options) {
    excluded_ = std::vector<Pattern>(options.exclude.begin(), options.exclude.end());
    options_ = &options;
    // Whatever is thrown below, the collection is then what it was.
    Rollback rollback(collection_);
    walk(source);
    rollback.keep();
}

void TreeScanner::walk(const std::string& source) {
    const Descriptor root(system_.openat(AT_FDCWD, source.c_str(), kOpenDirectory, 0), system_);
    // The root has no name in another directory: its attributes come from the open descriptor.
    Found found{root.get(), "", {}, 0};
    if (!root || system_.fstat(root.get(), &found.status) != 0) {
        throw systemFailure(source, "open the directory", errno);
    }
    const std::string prefix = packagePath(options_->prefix);
    found.origin = collection_.addOrigin({source, prefix});
    // Before the first is added: entries that were collected before are not of this tree.
    const std::size_t first = collection_.entries.size();
    collection_.entries.push_back(entryOf(found, prefix, source));
    // By default: the mode of a build directory says nothing about the package.
    if (!options_->keepRootMode) {
        collection_.entries.back().mode = kRootMode;
    }
    // The entries themselves are the list of directories still to read: nothing recurses.
    // References to entries stay valid while others are added: a deque moves none of them.
    for (std::size_t i = first; i < collection_.entries.size(); ++i) {
        // Entries that scanDirectory() adds come after this one, so that the loop reaches them, too.
        if (collection_.entries[i].type == EntryType::directory) {
            scanDirectory(root.get(), collection_.entries[i]);
        }
    }
}

void TreeScanner::scanDirectory(int root, const SourceEntry& directory) {
    // By a path below the root's descriptor, so that renaming a directory above the tree changes nothing.
    Descriptor opened = openLongPath(system_, root, collection_.relativePath(directory), kOpenDirectory);
    struct stat status {};
    if (!opened || system_.fstat(opened.get(), &status) != 0) {
        fail(directory, "open the directory", errno);
    }
    // The directory was found by name earlier. Another one under that name would be read in its place.
    if (status.st_dev != directory.device || status.st_ino != directory.inode) {
        Place(collection_.sourceName(directory))
            .fail(ErrorKind::inputOutput, "source-changed", "was replaced while the tree was read");
    }
    // fdopendir() owns the descriptor only if it succeeds; until then `opened` closes it.
    const Directory names(system_.fdopendir(opened.get()), CloseDirectory{&system_});
    if (!names) {
        fail(directory, "read the directory", errno);
    }
    const int descriptor = opened.release();  // closed with the names
    errno = 0;
    while (const dirent* name = system_.readdir(names.get())) {
        const std::string text = name->d_name;
        if (text != "." && text != "..") {
            take(descriptor, directory, text);
        }
        errno = 0;  // readdir() leaves it alone at the end
    }
    if (errno != 0) {
        fail(directory, "read the directory", errno);
    }
}

void TreeScanner::fail(const SourceEntry& directory, const char* action, int errorNumber) const {
    throw systemFailure(collection_.sourcePath(directory), action, errorNumber);
}

/// Patterns are tried before anything is asked of the disk, the filter after it.
void TreeScanner::take(int directory, const SourceEntry& parent, const std::string& name) {
    const std::string relative = joined(collection_.relativePath(parent), name);
    // Patterns are relative to the tree, as a user sees it, not to the package.
    if (std::any_of(excluded_.begin(), excluded_.end(),
                    [&](const Pattern& pattern) { return pattern.matches(relative); })) {
        return;
    }
    // For messages alone: the file is looked up by name in its open directory.
    const std::string where = joined(collection_.sourcePath(parent), name);
    // Lists of packages hold one path a line.
    if (name.find('\n') != name.npos) {
        refuse(where, "a path in a package can't hold a newline");
    }
    Found found{directory, name.c_str(), {}, parent.origin};
    // Another file may get this name later: FileReader compares device and inode with these.
    if (system_.fstatat(directory, name.c_str(), &found.status, AT_SYMLINK_NOFOLLOW) != 0) {
        throw systemFailure(where, "read its attributes", errno);
    }
    SourceEntry entry = entryOf(found, joined(parent.path, name), where);
    // After the attributes are read: the filter sees the entry as it would be stored.
    if (!isWanted(relative, entry)) {
        return;
    }
    const char* special = EntryPolicy::specialWordOf(entry.type, "a socket");
    if (special == nullptr) {
        collection_.entries.push_back(std::move(entry));
    } else if (!options_->skipSpecialFiles) {
        refuse(where, std::string("is ") + special + ", which a package can't hold");
    }
}

bool TreeScanner::isWanted(const std::string& relative, const SourceEntry& entry) const {
    if (!options_->filter) {
        return true;
    }
    Entry shown;
    shown.path = storedPath(relative, entry.type);
    shown.type = entry.type;
    shown.mode = entry.mode;
    shown.mtime = entry.mtime;
    shown.uid = entry.uid;
    shown.gid = entry.gid;
    // Only a file's size is that of contents.
    if (entry.type == EntryType::file) {
        shown.size = entry.size;
    } else if (entry.type == EntryType::symlink) {
        shown.linkTarget = *entry.data;
    }
    return options_->filter(shown);
}

bool TreeScanner::scanFile(const std::string& source, const std::string& path) {
    std::string place = packageFilePath(path);
    struct stat status {};
    // Symlinks are followed: the file that was named is meant, not the link.
    if (system_.fstatat(AT_FDCWD, source.c_str(), &status, 0) != 0) {
        throw systemFailure(source, "read its attributes", errno);
    }
    const EntryType type = typeOf(status.st_mode);
    if (type != EntryType::file && type != EntryType::fifo) {
        refuse(source, "is not a regular file");
    }
    if (type == EntryType::file) {
        Origin origin;
        origin.source = source;
        addFile(status, std::move(origin), std::move(place));
    }
    // A FIFO is left to the caller, which must open it to read it.
    return type == EntryType::file;
}

bool TreeScanner::scanDescriptor(int descriptor, const std::string& name, const std::string& path) {
    std::string place = packageFilePath(path);
    struct stat status {};
    if (system_.fstat(descriptor, &status) != 0) {
        throw systemFailure(name, "read its attributes", errno);
    }
    // The caller reads it to its end instead. Nothing has been added.
    if (typeOf(status.st_mode) != EntryType::file) {
        return false;
    }
    Origin origin;
    origin.source = name;
    origin.descriptor = descriptor;
    // What was read from the descriptor before is not part of the contents.
    origin.offset = system_.lseek(descriptor, 0, SEEK_CUR);
    if (origin.offset < 0) {
        throw systemFailure(name, "find its position", errno);
    }
    // A position after the end leaves nothing to read, and the size below must not wrap.
    origin.offset = std::min(origin.offset, status.st_size);
    addFile(status, std::move(origin), std::move(place));
    return true;
}

void TreeScanner::addFile(const struct stat& status, Origin origin, std::string path) {
    // addOrigin() and push_back() may throw; the origin must not stay alone.
    Rollback rollback(collection_);
    origin.singleFile = true;
    const off_t offset = origin.offset;
    const std::string where = origin.source;
    SourceEntry entry =
        entryOf({AT_FDCWD, "", status, collection_.addOrigin(std::move(origin))}, std::move(path), where);
    // The offset is at most the size, as its callers have ensured.
    entry.size -= static_cast<std::uint64_t>(offset);
    collection_.entries.push_back(std::move(entry));
    rollback.keep();
}

SourceEntry TreeScanner::entryOf(const Found& found, std::string path, std::string_view where) {
    const struct stat& status = found.status;
    SourceEntry entry;
    entry.path = std::move(path);
    entry.type = typeOf(status.st_mode);
    entry.device = status.st_dev;
    entry.inode = status.st_ino;
    entry.mtime = status.st_mtim.tv_sec;
    entry.mtimeNanoseconds = static_cast<std::uint32_t>(status.st_mtim.tv_nsec);
    // Permissions and set-id bits; the type is a field of its own.
    entry.mode = status.st_mode & 07777;
    entry.uid = status.st_uid;
    entry.gid = status.st_gid;
    entry.origin = found.origin;
    entry.isFromDisk = true;
    entry.hasTime = true;
    if (entry.type == EntryType::symlink) {
        entry.data = std::make_unique<const std::string>(targetOf(found, where));
        entry.size = entry.data->size();
    } else if (entry.type == EntryType::file) {
        entry.size = static_cast<std::uint64_t>(status.st_size);
        // Only a file can have several names that matter: directories have them by "..", symlinks are stored each.
        entry.hasLinks = status.st_nlink > 1;
    }
    return entry;
}

std::string TreeScanner::targetOf(const Found& found, std::string_view where) {
    // A target may grow after fstatat(), and some file systems report 0.
    std::string target(static_cast<std::size_t>(found.status.st_size) + 256, '\0');
    for (;;) {
        const ssize_t length = system_.readlinkat(found.directory, found.name, target.data(), target.size());
        if (length < 0) {
            throw systemFailure(std::string(where), "read the symlink", errno);
        }
        // Shorter than the buffer: the target is complete. One that fills it may have been cut off.
        if (static_cast<std::size_t>(length) < target.size()) {
            return target.substr(0, static_cast<std::size_t>(length));
        }
        target.resize(2 * target.size());
    }
}

}  // namespace bex::stream

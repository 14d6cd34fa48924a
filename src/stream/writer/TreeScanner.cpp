#include "stream/writer/TreeScanner.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"
#include "stream/base/Place.hpp"
#include "stream/system/Descriptor.hpp"
#include "stream/system/OpenLongPath.hpp"
#include "stream/writer/PackagePath.hpp"

namespace bex::stream {

namespace {

constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

struct CloseFolder {
    System* system;
    void operator()(DIR* folder) const noexcept { system->closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

/// Takes the collection back to what it was, unless it is told to keep what came since.
class Rollback {
public:
    explicit Rollback(Collection& collection)
        : collection_(collection), entries_(collection.entries.size()), origins_(collection.origins.size()) {}
    ~Rollback() {
        if (!kept_) {
            collection_.entries.resize(entries_);
            collection_.origins.resize(origins_);
        }
    }
    Rollback(const Rollback&) = delete;
    Rollback& operator=(const Rollback&) = delete;
    void keep() noexcept { kept_ = true; }

private:
    Collection& collection_;
    std::size_t entries_;
    std::size_t origins_;
    bool kept_ = false;
};

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

/// The word for what a package can't hold; null for what it can.
const char* specialWordOf(EntryType type) noexcept {
    switch (type) {
        case EntryType::characterDevice:
        case EntryType::blockDevice:
            return "a device";
        case EntryType::fifo:
            return "a FIFO";
        case EntryType::other:
            return "a socket";
        default:
            return nullptr;
    }
}

std::string joined(std::string_view folder, std::string_view name) {
    std::string path(folder);
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

/// A name in an open directory, and what it stands for.
struct TreeScanner::Found {
    int folder;
    const char* name;
    struct stat status;
    std::uint32_t origin;
};

void TreeScanner::scanTree(const std::string& source, const TreeOptions& options) {
    excluded_.clear();
    for (const std::string& path : options.exclude) {
        excluded_.insert(plainPath(path));
    }
    skipSpecialFiles_ = options.skipSpecialFiles;
    Rollback rollback(collection_);
    walk(source, options);
    rollback.keep();
}

void TreeScanner::walk(const std::string& source, const TreeOptions& options) {
    const Descriptor root(system_.openat(AT_FDCWD, source.c_str(), kOpenFolder, 0), system_);
    Found found{root.get(), "", {}, static_cast<std::uint32_t>(collection_.origins.size())};
    if (!root || system_.fstat(root.get(), &found.status) != 0) {
        throw systemFailure(source, "open the directory", errno);
    }
    collection_.origins.push_back({source, packagePath(options.prefix), false});
    const std::size_t first = collection_.entries.size();
    add(found, collection_.origins.back().prefix, source);
    // The entries themselves are the list of directories still to read: nothing recurses.
    for (std::size_t i = first; i < collection_.entries.size(); ++i) {
        if (collection_.entries[i].type == EntryType::directory) {
            scanFolder(root.get(), collection_.entries[i]);
        }
    }
}

void TreeScanner::scanFolder(int root, const SourceEntry& folder) {
    Descriptor opened = openLongPath(system_, root, collection_.relativePath(folder), kOpenFolder);
    struct stat status {};
    if (!opened || system_.fstat(opened.get(), &status) != 0) {
        fail(folder, "open the directory", errno);
    }
    if (status.st_dev != folder.device || status.st_ino != folder.inode) {
        Place(collection_.sourceName(folder))
            .fail(ErrorKind::inputOutput, "source-changed", "was replaced while the tree was read");
    }
    const Folder names(system_.fdopendir(opened.get()), CloseFolder{&system_});
    if (!names) {
        fail(folder, "read the directory", errno);
    }
    const int descriptor = opened.release();  // closed with the names
    errno = 0;
    while (const dirent* name = system_.readdir(names.get())) {
        const std::string text = name->d_name;
        if (text != "." && text != "..") {
            take(descriptor, folder, text);
        }
        errno = 0;  // readdir() leaves it alone at the end
    }
    if (errno != 0) {
        fail(folder, "read the directory", errno);
    }
}

void TreeScanner::fail(const SourceEntry& folder, const char* action, int errorNumber) const {
    throw systemFailure(collection_.sourcePath(folder), action, errorNumber);
}

void TreeScanner::take(int folder, const SourceEntry& parent, const std::string& name) {
    if (!excluded_.empty() && excluded_.count(joined(collection_.relativePath(parent), name)) != 0) {
        return;
    }
    const std::string where = joined(collection_.sourcePath(parent), name);
    if (name.find('\n') != name.npos) {
        refuse(where, "a path in a package can't hold a newline");
    }
    Found found{folder, name.c_str(), {}, parent.origin};
    if (system_.fstatat(folder, name.c_str(), &found.status, AT_SYMLINK_NOFOLLOW) != 0) {
        throw systemFailure(where, "read its attributes", errno);
    }
    const char* special = specialWordOf(typeOf(found.status.st_mode));
    if (special == nullptr) {
        add(found, joined(parent.path, name), where);
    } else if (!skipSpecialFiles_) {
        refuse(where, std::string("is ") + special + ", which a package can't hold");
    }
}

void TreeScanner::scanFile(const std::string& source, const std::string& path) {
    Found found{AT_FDCWD, source.c_str(), {}, static_cast<std::uint32_t>(collection_.origins.size())};
    std::string place = packageFilePath(path);
    if (system_.fstatat(AT_FDCWD, source.c_str(), &found.status, AT_SYMLINK_NOFOLLOW) != 0) {
        throw systemFailure(source, "read its attributes", errno);
    }
    const EntryType type = typeOf(found.status.st_mode);
    if (type != EntryType::file && type != EntryType::symlink) {
        refuse(source, "is no regular file or symlink");
    }
    Rollback rollback(collection_);
    collection_.origins.push_back({source, {}, true});
    add(found, std::move(place), source);
    rollback.keep();
}

void TreeScanner::add(const Found& found, std::string path, std::string_view where) {
    const struct stat& status = found.status;
    SourceEntry entry;
    entry.path = std::move(path);
    entry.type = typeOf(status.st_mode);
    entry.device = status.st_dev;
    entry.inode = status.st_ino;
    entry.mtime = status.st_mtim.tv_sec;
    entry.mtimeNanoseconds = static_cast<std::uint32_t>(status.st_mtim.tv_nsec);
    entry.mode = status.st_mode & 07777;
    entry.uid = status.st_uid;
    entry.gid = status.st_gid;
    entry.origin = found.origin;
    entry.hasTime = true;
    if (entry.type == EntryType::symlink) {
        entry.data = std::make_unique<const std::string>(targetOf(found, where));
        entry.size = entry.data->size();
    } else if (entry.type == EntryType::file) {
        entry.size = static_cast<std::uint64_t>(status.st_size);
        entry.hasLinks = status.st_nlink > 1;
    }
    collection_.entries.push_back(std::move(entry));
}

std::string TreeScanner::targetOf(const Found& found, std::string_view where) {
    // A target may grow after fstatat(), and some file systems tell 0.
    std::string target(static_cast<std::size_t>(found.status.st_size) + 256, '\0');
    for (;;) {
        const ssize_t length = system_.readlinkat(found.folder, found.name, target.data(), target.size());
        if (length < 0) {
            throw systemFailure(std::string(where), "read the symlink", errno);
        }
        if (static_cast<std::size_t>(length) < target.size()) {
            return target.substr(0, static_cast<std::size_t>(length));
        }
        target.resize(2 * target.size());
    }
}

}  // namespace bex::stream

#include "stream/writer/DirectoryScanner.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>

#include "bex/stream/StreamError.hpp"
#include "stream/base/ForEachName.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/system/Descriptor.hpp"
#include "stream/system/OpenLongPath.hpp"

namespace bex::stream {

namespace {

/// Of a symlink; nothing, with errno set, where it cannot be read.
std::optional<std::string> targetOf(System& system, int directory, const char* name, off_t size) {
    // A target may grow after fstatat(), and some file systems report 0.
    std::string target(static_cast<std::size_t>(size) + 256, '\0');
    for (;;) {
        const ssize_t length = system.readlinkat(directory, name, target.data(), target.size());
        if (length < 0) {
            return std::nullopt;
        }
        // Shorter than the buffer: the target is complete. One that fills it may have been cut off.
        if (static_cast<std::size_t>(length) < target.size()) {
            return target.substr(0, static_cast<std::size_t>(length));
        }
        target.resize(2 * target.size());
    }
}

}  // namespace

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

SourceEntry entryOf(const struct stat& status, std::uint32_t origin, std::string path) {
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
    entry.origin = origin;
    entry.isFromDisk = true;
    entry.hasTime = true;
    if (entry.type == EntryType::file) {
        entry.size = static_cast<std::uint64_t>(status.st_size);
        // Only a file can have several names that matter: directories have them by "..", symlinks are stored each.
        entry.hasLinks = status.st_nlink > 1;
    }
    return entry;
}

void DirectoryScanner::scan(ScanJob& job) const {
    job.entries.clear();
    job.failure = nullptr;
    try {
        for (const SourceEntry* directory : job.directories) {
            scanNames(*directory, job.entries);
        }
    } catch (...) {
        job.failure = std::current_exception();
    }
}

void DirectoryScanner::scanNames(const SourceEntry& directory, std::vector<SourceEntry>& entries) const {
    // By a path below the root's descriptor, so that renaming a directory above the tree changes nothing.
    Descriptor opened = openLongPath(system_, root_, collection_.relativePath(directory), kOpenDirectory);
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
    const DirectoryNames names(system_.fdopendir(opened.get()), system_);
    if (!names) {
        fail(directory, "read the directory", errno);
    }
    const int descriptor = opened.release();  // closed with the names
    const int error = forEachName([&] { return system_.readdir(names.get()); },
                                  [&](const dirent& name) {
                                      if (auto entry = entryOf(descriptor, directory, name.d_name)) {
                                          entries.push_back(std::move(*entry));
                                      }
                                  });
    if (error != 0) {
        fail(directory, "read the directory", error);
    }
}

/// Nothing for what a pattern excludes.
std::optional<SourceEntry> DirectoryScanner::entryOf(int directory, const SourceEntry& parent,
                                                     const std::string& name) const {
    // Patterns are tried before anything is asked of the disk.
    if (isExcluded(parent, name)) {
        return std::nullopt;
    }
    // For messages alone: the file is looked up by name in its open directory.
    const auto where = [&] { return joinedPath(collection_.sourcePath(parent), name); };
    // Lists of packages hold one path a line.
    if (name.find('\n') != name.npos) {
        throw invalidInput(where(), "a path in a package can't hold a newline");
    }
    struct stat status {};
    // Another file may get this name later: FileReader compares device and inode with these.
    if (system_.fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        throw systemFailure(where(), "read its attributes", errno);
    }
    SourceEntry entry = stream::entryOf(status, parent.origin, joinedPath(parent.path, name));
    if (entry.type == EntryType::symlink) {
        std::optional<std::string> target = targetOf(system_, directory, name.c_str(), status.st_size);
        if (!target) {
            throw systemFailure(where(), "read the symlink", errno);
        }
        entry.size = target->size();
        entry.data = std::make_unique<const std::string>(std::move(*target));
    }
    return entry;
}

/// Patterns are relative to the tree, as a user sees it, not to the package.
bool DirectoryScanner::isExcluded(const SourceEntry& parent, const std::string& name) const {
    if (excluded_.empty()) {
        return false;
    }
    const std::string relative = joinedPath(collection_.relativePath(parent), name);
    return std::any_of(excluded_.begin(), excluded_.end(),
                       [&](const Pattern& pattern) { return pattern.matches(relative); });
}

void DirectoryScanner::fail(const SourceEntry& directory, const char* action, int errorNumber) const {
    throw systemFailure(collection_.sourcePath(directory), action, errorNumber);
}

}  // namespace bex::stream

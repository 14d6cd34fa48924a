#include "stream/writer/TreeScanner.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>

#include "bex/stream/StreamError.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/WorkPool.hpp"
#include "stream/reader/EntryPolicy.hpp"
#include "stream/system/Descriptor.hpp"
#include "stream/writer/PackagePath.hpp"

namespace bex::stream {

namespace {

constexpr std::uint32_t kRootMode = 0755;
constexpr unsigned kMostThreads = 16;  // each has a directory open

/// The more entries wait to be looked at, the more directories a job gets: one for each so many, up to the most.
constexpr std::size_t kEntriesForEach = 64;
constexpr std::size_t kMostDirectories = 16;

[[noreturn]] void refuse(std::string_view where, const std::string& reason) {
    throw invalidInput(std::string(where), reason);
}

}  // namespace

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
    struct stat status {};
    if (!root || system_.fstat(root.get(), &status) != 0) {
        throw systemFailure(source, "open the directory", errno);
    }
    const std::string prefix = packagePath(options_->prefix);
    const std::uint32_t origin = collection_.addOrigin({source, prefix});
    // Before the first is added: entries that were collected before are not of this tree.
    const std::size_t first = collection_.entries.size();
    collection_.entries.push_back(entryOf(status, origin, prefix));
    // By default: the mode of a build directory says nothing about the package.
    if (!options_->keepRootMode) {
        collection_.entries.back().mode = kRootMode;
    }
    readDirectories(root.get(), first);
}

/// The entries themselves are the list of directories still to read: nothing recurses. What a directory holds is
/// added in the order of the directories, so that neither the order nor the first error depends on the threads.
void TreeScanner::readDirectories(int root, std::size_t next) {
    const DirectoryScanner scanner(collection_, system_, root, excluded_);
    const unsigned threads = std::min(threadCount(options_->threads), kMostThreads);
    WorkPool<ScanJob> pool(threads, jobsInFlight(threads),
                           [&scanner] { return [&scanner](ScanJob& job) { scanner.scan(job); }; });
    const std::deque<SourceEntry>& entries = collection_.entries;
    while (next < entries.size() || !pool.empty()) {
        // Entries that are added below come after these, so that the loop reaches them, too. A deque moves none.
        while (!pool.full() && next < entries.size()) {
            ScanJob& job = pool.next();
            next = fill(job, next);
            if (!job.directories.empty()) {
                const bool isAlone = pool.empty() && next == entries.size();
                if (isAlone) {
                    pool.submitHere();
                } else {
                    pool.submit();
                }
            }
        }
        if (!pool.empty()) {
            take(pool.front());
            pool.pop();
        }
    }
}

/// The first of the next directories, several where there are many: a small one takes hardly longer than waking a
/// thread for it. Returns the index of the entry after them.
std::size_t TreeScanner::fill(ScanJob& job, std::size_t next) const {
    const std::deque<SourceEntry>& entries = collection_.entries;
    const std::size_t most =
        std::clamp<std::size_t>((entries.size() - next) / kEntriesForEach, 1, kMostDirectories);
    job.directories.clear();
    for (; next < entries.size() && job.directories.size() < most; ++next) {
        if (entries[next].type == EntryType::directory) {
            job.directories.push_back(&entries[next]);
        }
    }
    return next;
}

void TreeScanner::take(ScanJob& job) {
    for (SourceEntry& entry : job.entries) {
        take(std::move(entry));
    }
    if (job.failure) {
        std::rethrow_exception(job.failure);
    }
}

void TreeScanner::take(SourceEntry entry) {
    // Of this thread alone, and with the entry as it would be stored.
    if (!isWanted(entry)) {
        return;
    }
    const char* const special = EntryPolicy::specialWordOf(entry.type, "a socket");
    if (special == nullptr) {
        collection_.entries.push_back(std::move(entry));
    } else if (!options_->skipSpecialFiles) {
        refuse(collection_.sourcePath(entry), std::string("is ") + special + ", which a package can't hold");
    }
}

bool TreeScanner::isWanted(const SourceEntry& entry) const {
    if (!options_->filter) {
        return true;
    }
    Entry shown;
    shown.path = storedPath(collection_.relativePath(entry), entry.type);
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
        addFile(status, {source, ""}, std::move(place));
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
    Origin origin{name, ""};
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
    SourceEntry entry = entryOf(status, collection_.addOrigin(std::move(origin)), std::move(path));
    // The offset is at most the size, as its callers have ensured.
    entry.size -= static_cast<std::uint64_t>(offset);
    collection_.entries.push_back(std::move(entry));
    rollback.keep();
}

}  // namespace bex::stream

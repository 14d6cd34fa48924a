#include "stream/extract/Extraction.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "stream/extract/OutputFile.hpp"
#include "stream/extract/PendingFile.hpp"
#include "stream/extract/Symlink.hpp"

namespace bex::stream {

namespace {

constexpr mode_t kDestinationMode = 0777;  // less the umask
constexpr unsigned kMaxFileThreads = 8;    // also bounds how many directories stay open
// O_PATH: the destination need not be readable, only searchable.
constexpr int kDestination = O_PATH | O_DIRECTORY | O_CLOEXEC;

/// Threads may make entries, some of them after what follows them, where nobody is told of each in turn, no two
/// entries can have one path and nothing depends on what an entry meets on the disk.
bool mayOvertake(const ExtractOptions& options) {
    return !options.onEntry && !options.rename && options.stripComponents == 0 &&
           options.existing != Existing::keep;
}

unsigned fileThreads(unsigned threads) {
    return std::min(threads, kMaxFileThreads);
}

}  // namespace

/// Follows symlinks: the destination is the caller's.
Extraction::Destination Extraction::openDestination(const std::string& path, ExtractContext& context) {
    System& system = context.system;
    context.place.goTo(path);
    Destination result{{system.openat(AT_FDCWD, path.c_str(), kDestination, 0), system}};
    // Opened first, made only if it is missing: what exists keeps its attributes.
    if (!result.directory && errno == ENOENT) {
        result.made = system.mkdirat(AT_FDCWD, path.c_str(), kDestinationMode) == 0;
        // EEXIST: somebody else made it meanwhile. It is used, but not counted as made by this.
        if (!result.made && errno != EEXIST) {
            context.place.failSystem("create the destination", errno);
        }
        result.directory = Descriptor(system.openat(AT_FDCWD, path.c_str(), kDestination, 0), system);
    }
    if (!result.directory) {
        context.place.failSystem("open the destination", errno);
    }
    return result;
}

Extraction::Extraction(const std::string& destination, const std::string& package, const ExtractOptions& options,
                       System& system, unsigned threads)
    : context_(package, options, system),
      destination_(openDestination(destination, context_)),
      batching_(threads > 1 && mayOvertake(options)),
      pool_(fileThreads(threads), jobsInFlight(fileThreads(threads)), [this] {
          return
              [this, context = context_](EntryBatch& batch) mutable { batch.make(context, directories_, order_); };
      }) {}

bool Extraction::make(const Entry& entry, const std::string& path, const std::string& linkPath,
                      const Contents& contents) {
    context_.place.goTo(entry.path);
    // Before the type is looked at: no way of making an entry may see a path that leads out.
    requirePlain(path, "its path");
    if (path.empty() && entry.type != EntryType::directory) {
        context_.place.fail(ErrorKind::refused, "destination",
                            "stands for the destination and is not a directory");
    }
    // Before anything is made: a number out of range must not leave a file behind.
    attributes_ = attributesOf(entry, context_);
    switch (entry.type) {
        case EntryType::file:
            return makeFile(entry, path, contents);
        case EntryType::directory:
            return makeDirectory(entry, path);
        case EntryType::symlink:
            return makeSymlink(entry, path);
        case EntryType::hardlink:
            return makeHardLink(path, linkPath);
        default:
            context_.place.fail(ErrorKind::refused, "destination", "is neither file, directory nor link");
    }
}

void Extraction::settle() {
    // The batch that is being filled is not in the pool yet. next() exists only while the pool is not full.
    if (batching_ && !pool_.full() && !pool_.next().empty()) {
        pool_.submitHere();
        ++submitted_;
    }
    // In order, so that the first failure of the entries is the one thrown.
    while (!pool_.empty()) {
        takeFront();
    }
}

void Extraction::finish() {
    // Files first: their directories may lose the permission to write.
    settle();
    directories_.restoreAll();
}

bool Extraction::makeFile(const Entry& entry, const std::string& path, const Contents& contents) {
    if (batching_) {
        collect(entry, path, contents);
        return true;
    }
    OutputFile file(context_, directories_.openParent(path, context_.place), nameOf(path));
    // Nothing is read of the contents: the source skips them.
    if (file.kept()) {
        kept_.insert(path);
        return false;
    }
    for (Piece piece = contents(); !piece.bytes.empty(); piece = contents()) {
        file.write(piece.bytes);
    }
    file.finish(attributes_);
    return true;
}

/// The batch that is being filled, which is this thread's until it is handed over.
EntryBatch& Extraction::batch() {
    while (pool_.full()) {
        takeFront();
    }
    EntryBatch& batch = pool_.next();
    batch.number = submitted_;
    return batch;
}

void Extraction::submitBatch() {
    pool_.submit();
    ++submitted_;
}

void Extraction::submitIfFull() {
    if (pool_.next().full()) {
        submitBatch();
    }
}

/// Adds the file to the batch that is being filled, and to as many more as it takes.
void Extraction::collect(const Entry& entry, const std::string& path, const Contents& contents) {
    EntryBatch* batch = &this->batch();
    std::shared_ptr<LargeFile> large;
    if (entry.size <= EntryBatch::kSmallFileBytes) {
        batch->begin(path, entry.path, attributes_);
    } else {
        large = std::make_shared<LargeFile>(context_, path, attributes_);
        batch->beginPart(large, 0);
    }
    try {
        std::uint64_t offset = 0;
        for (Piece rest = contents(); !rest.bytes.empty();) {
            const std::size_t size = batch->write(rest);
            offset += size;
            rest.bytes.remove_prefix(size);
            if (rest.bytes.empty()) {
                rest = contents();
                continue;
            }
            batch = nullptr;  // handed over
            submitBatch();
            this->batch().beginPart(large, offset);
            batch = &pool_.next();
        }
    } catch (...) {
        if (batch != nullptr) {
            batch->dropLast();  // it lacks some of its contents
        }
        throw;
    }
    if (large != nullptr) {
        batch->endPart();
    }
    submitIfFull();
}

void Extraction::takeFront() {
    // Throws what the batch's work threw, and then leaves the batch in the pool.
    pool_.front();
    pool_.pop();
}

void Extraction::requirePlain(const std::string& path, const char* what) const {
    if (!isPlainPath(path)) {  // guard: paths that are not plain
        context_.place.fail(ErrorKind::refused, "destination",
                            std::string(what) + " leads out of the destination");
    }
}

bool Extraction::makeDirectory(const Entry& entry, const std::string& path) {
    // An existing destination keeps its attributes: it may be /tmp.
    if (path.empty() && !destination_.made) {
        return true;
    }
    if (!batching_) {
        return directories_.make(path, attributes_, context_.place);
    }
    batch().addDirectory(path, entry.path, attributes_);
    submitIfFull();
    return true;
}

bool Extraction::makeSymlink(const Entry& entry, const std::string& path) {
    if (entry.linkTarget.find('\0') != std::string::npos) {
        context_.place.fail(ErrorKind::refused, "destination", "its link target has a NUL");
    }
    if (!batching_) {
        const int directory = directories_.openParent(path, context_.place);
        return bex::stream::makeSymlink(context_, directory, nameOf(path), entry.linkTarget, attributes_);
    }
    batch().addSymlink(path, entry.path, attributes_, entry.linkTarget);
    submitIfFull();
    return true;
}

bool Extraction::makeHardLink(const std::string& path, const std::string& linkPath) {
    requirePlain(linkPath, "its link target");
    settle();  // the target may be in a batch, and its directory
    if (context_.existing == Existing::keep &&
        keeps(directories_.openParent(path, context_.place), nameOf(path))) {
        // Remembered: a later hard link must not lead to what was there before.
        kept_.insert(path);
        return false;
    }
    const int targetDirectory =
        targetParents_.open(parentOf(linkPath), DirectoryWalk::Missing::refuse, context_.place);
    // After the walk, which follows no symlink: the target is a file below the destination.
    const struct stat target = requireRegularFile(targetDirectory, nameOf(linkPath));
    if (kept_.count(linkPath) != 0) {
        context_.place.fail(ErrorKind::refused, "destination", "its link target was there before and is kept");
    }
    // Opened after the checks: the descriptor of open() is valid until its next call.
    const int directory = directories_.openParent(path, context_.place);
    // With Existing::error it counts as something in the way, like any other file.
    if (context_.existing != Existing::error && isLinkOf(target, directory, nameOf(path))) {
        return true;
    }
    PendingFile link(context_, directory, nameOf(path), [&](const char* name) {
        return context_.system.linkat(targetDirectory, nameOf(linkPath), directory, name, 0) == 0;
    });
    link.settle();
    return true;
}

bool Extraction::keeps(int directory, const char* name) const {
    struct stat status = {};
    return context_.system.fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0;
}

struct stat Extraction::requireRegularFile(int directory, const char* name) const {
    struct stat status = {};
    // ENOENT leaves the mode 0, which is no regular file.
    if (context_.system.fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOENT) {
        context_.place.failSystem("look up its link target", errno);
    }
    if (!S_ISREG(status.st_mode)) {  // guard: a hard link's target is a file
        context_.place.fail(ErrorKind::refused, "destination",
                            "its link target is not a regular file that was extracted");
    }
    return status;
}

/// Whether the name is a link of the file already. Renaming a link over another of the same file does nothing, and
/// would leave both.
bool Extraction::isLinkOf(const struct stat& file, int directory, const char* name) const {
    struct stat status = {};
    // ENOENT leaves a device and inode of 0, which no file has.
    if (context_.system.fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOENT) {
        context_.place.failSystem("replace", errno);
    }
    return areOfSameFile(status, file);
}

}  // namespace bex::stream

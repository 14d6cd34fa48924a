#include "stream/extract/Extraction.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "stream/base/WorkPool.hpp"
#include "stream/extract/BeneathFolder.hpp"
#include "stream/extract/ExtractContext.hpp"
#include "stream/extract/FileBatch.hpp"
#include "stream/extract/Folders.hpp"
#include "stream/extract/NewName.hpp"
#include "stream/extract/OutputFile.hpp"
#include "stream/extract/RestoredAttributes.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::stream {

namespace {

using Missing = BeneathFolder::Missing;

constexpr mode_t kDestinationMode = 0777;  // less the umask
constexpr unsigned kMostMakers = 8;        // threads; the folders that their batches hold open are bounded by it
constexpr int kDestination = O_PATH | O_DIRECTORY | O_CLOEXEC;

struct Destination {
    Descriptor folder;
    bool made = false;
};

/// Follows symlinks: the destination is the caller's.
Destination openDestination(const std::string& path, ExtractContext& context) {
    System& system = context.system;
    context.place = context.place.at(path);
    Destination result{{system.openat(AT_FDCWD, path.c_str(), kDestination, 0), system}};
    if (!result.folder && errno == ENOENT) {
        result.made = system.mkdirat(AT_FDCWD, path.c_str(), kDestinationMode) == 0;
        if (!result.made && errno != EEXIST) {
            context.place.failSystem("create the destination", errno);
        }
        result.folder = Descriptor(system.openat(AT_FDCWD, path.c_str(), kDestination, 0), system);
    }
    if (!result.folder) {
        context.place.failSystem("open the destination", errno);
    }
    return result;
}

bool isSameFile(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

}  // namespace

class Extraction::State {
public:
    State(const std::string& destination, const std::string& package, const ExtractOptions& options,
          System& system, unsigned threads)
        : context_(package, options, system),
          destination_(openDestination(destination, context_)),
          batching_(threads > 1 && mayOvertake(options)),
          pool_(std::min(threads, kMostMakers), batching_ ? std::size_t{std::min(threads, kMostMakers)} * 2 : 1,
                [context = context_] { return [context](FileBatch& batch) mutable { batch.make(context); }; }) {}

    void begin(const Entry& entry, const std::string& path, const std::string& linkPath) {
        file_.reset();  // before its folder is closed
        context_.place = context_.place.at(entry.path);
        requirePlain(path, "its path");
        if (path.empty() && entry.type != EntryType::directory) {
            context_.place.fail(ErrorKind::refused, "destination",
                                "stands for the destination and is no directory");
        }
        attributes_ = attributesOf(entry, context_);
        switch (entry.type) {
            case EntryType::file:
                beginFile(entry, path);
                break;
            case EntryType::directory:
                makeDirectory(path);
                break;
            case EntryType::symlink:
                makeSymlink(path, entry.linkTarget);
                break;
            case EntryType::hardlink:
                makeHardLink(path, linkPath);
                break;
            default:
                context_.place.fail(ErrorKind::refused, "destination", "is neither file, directory nor link");
        }
    }

    void write(std::string_view bytes) {
        if (inBatch_) {
            pool_.next().write(bytes);
        } else {
            file().write(bytes);
        }
    }

    void skip(std::uint64_t size) { file().skip(size); }

    void end() {
        if (file_) {
            file_->finish(attributes_);
            file_.reset();
        }
        if (std::exchange(inBatch_, false) && pool_.next().full()) {
            pool_.submit();
        }
    }

    void settle() {
        if (std::exchange(inBatch_, false)) {
            pool_.next().dropLast();
        }
        if (batching_ && !pool_.full() && !pool_.next().empty()) {
            pool_.submitHere();
        }
        while (!pool_.empty()) {
            takeFront();
        }
    }

    void finish() {
        settle();
        directories_.restoreAll();
    }

private:
    /// Small files may be made after what follows them, where nobody is told of each in turn and no two entries
    /// can have one path.
    static bool mayOvertake(const ExtractOptions& options) {
        return !options.onEntry && options.stripComponents == 0;
    }

    void beginFile(const Entry& entry, const std::string& path) {
        if (!batching_ || entry.sparse || entry.size > FileBatch::kSmallFileBytes) {
            file_.emplace(context_, parents_.open(parentOf(path), Missing::make), nameOf(path));
            return;
        }
        while (pool_.full()) {
            takeFront();
        }
        pool_.next().begin(parents_.hold(parentOf(path), Missing::make), path, entry.path, attributes_);
        inBatch_ = true;
    }

    void takeFront() {
        pool_.front();
        pool_.pop();
    }

    OutputFile& file() {
        if (!file_) {
            context_.place.fail(ErrorKind::refused, "destination", "has contents but is no regular file");
        }
        return *file_;
    }

    void requirePlain(const std::string& path, const char* what) const {
        if (!isPlainPath(path)) {  // guard: paths that are not plain
            context_.place.fail(ErrorKind::refused, "destination",
                                std::string(what) + " leads out of the destination");
        }
    }

    void makeDirectory(const std::string& path) {
        if (!path.empty()) {
            directories_.make(path, attributes_);
        } else if (destination_.made) {
            directories_.note(path, attributes_);
        }
    }

    void makeSymlink(const std::string& path, const std::string& target) {
        if (target.find('\0') != std::string::npos) {
            context_.place.fail(ErrorKind::refused, "destination", "its link target has a NUL");
        }
        const int folder = parents_.open(parentOf(path), Missing::make);
        NewName link(context_, folder, nameOf(path), [&](const char* name) {
            return context_.system.symlinkat(target.c_str(), folder, name) == 0;
        });
        restoreLink(attributes_, folder, link.current(), context_);
        link.settle();
    }

    void makeHardLink(const std::string& path, const std::string& linkPath) {
        requirePlain(linkPath, "its link target");
        settle();
        const int targetFolder = targetParents_.open(parentOf(linkPath), Missing::refuse);
        const struct stat target = requireRegularFile(targetFolder, nameOf(linkPath));
        const int folder = parents_.open(parentOf(path), Missing::make);
        if (!context_.keepExisting && isLinkOf(target, folder, nameOf(path))) {
            return;
        }
        NewName link(context_, folder, nameOf(path), [&](const char* name) {
            return context_.system.linkat(targetFolder, nameOf(linkPath), folder, name, 0) == 0;
        });
        link.settle();
    }

    struct stat requireRegularFile(int folder, const char* name) const {
        struct stat status = {};
        if (context_.system.fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOENT) {
            context_.place.failSystem("look up its link target", errno);
        }
        if (!S_ISREG(status.st_mode)) {  // guard: a hard link's target is a file
            context_.place.fail(ErrorKind::refused, "destination",
                                "its link target is no regular file that was extracted");
        }
        return status;
    }

    /// Whether the name leads to the file already. Renaming a link over another of the same file does nothing, and
    /// would leave both.
    bool isLinkOf(const struct stat& file, int folder, const char* name) const {
        struct stat status = {};
        if (context_.system.fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOENT) {
            context_.place.failSystem("replace", errno);
        }
        return isSameFile(status, file);
    }

    ExtractContext context_;
    Destination destination_;
    BeneathFolder parents_{context_, destination_.folder.get(), "its"};
    BeneathFolder targetParents_{context_, destination_.folder.get(), "its link target's"};
    Folders directories_{context_, parents_};
    RestoredAttributes attributes_;
    std::optional<OutputFile> file_;
    const bool batching_;
    bool inBatch_ = false;  // the entry that was begun is the last of the pool's next batch
    WorkPool<FileBatch> pool_;
};

Extraction::Extraction(const std::string& destination, const std::string& package, const ExtractOptions& options,
                       System& system, unsigned threads)
    : state_(std::make_unique<State>(destination, package, options, system, threads)) {}

Extraction::~Extraction() = default;

void Extraction::begin(const Entry& entry, const std::string& path, const std::string& linkPath) {
    state_->begin(entry, path, linkPath);
}

void Extraction::write(const char* data, std::size_t size) {
    if (size > 0) {
        state_->write({data, size});
    }
}

void Extraction::skip(std::uint64_t size) {
    if (size > 0) {
        state_->skip(size);
    }
}

void Extraction::end() {
    state_->end();
}

void Extraction::settle() {
    state_->settle();
}

void Extraction::finish() {
    state_->finish();
}

}  // namespace bex::stream

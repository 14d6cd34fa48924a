#include "stream/system/TemporaryFile.hpp"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace bex::stream {

namespace {

constexpr mode_t kOwnersOnly = 0600;
constexpr mode_t kNewFile = 0666;  // less the umask

/// Where a descriptor can be linked from; linkat's AT_EMPTY_PATH would ask for a privilege.
std::string linkableName(int descriptor) {
    return "/proc/self/fd/" + std::to_string(descriptor);
}

// Two random names of 64 bits never meet; a file system that says so for ever is not believed.
constexpr int kAttempts = 100;

std::string randomName() {
    std::uint64_t number = 0;
    arc4random_buf(&number, sizeof number);
    std::array<char, 24> name = {};
    const int length = std::snprintf(name.data(), name.size(), ".bex-%016" PRIx64, number);
    return {name.data(), static_cast<std::size_t>(length)};
}

}  // namespace

std::string makeTemporary(const std::function<bool(const char* name)>& make) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        std::string name = randomName();
        if (make(name.c_str())) {
            return name;
        }
        // Any other error would come again with the next name.
        if (errno != EEXIST) {
            break;
        }
    }
    return {};
}

TemporaryFile::TemporaryFile(int directory, Use use, System& system)
    : directory_(directory), use_(use), system_(system), file_(open(".", O_TMPFILE)) {
    // Why there is no unnamed file is not asked: a reason that matters fails the named one, too. Without /proc an
    // unnamed file could not get its name later.
    if (!file_ || (use_ == Use::target && !isLinkable())) {
        openNamed();
    }
}

TemporaryFile::~TemporaryFile() {
    // An unnamed file goes when its descriptor is closed, and one that moveTo() renamed is no longer ours to
    // remove.
    if (!name_.empty()) {  // guard: a temporary file goes when the build fails
        system_.unlinkat(directory_, name_.c_str(), 0);
    }
}

Descriptor TemporaryFile::open(const char* name, int flags) const {
    const mode_t mode = use_ == Use::scratch ? kOwnersOnly : kNewFile;
    return {system_.openat(directory_, name, flags | O_RDWR | O_CLOEXEC, mode), system_};
}

bool TemporaryFile::isLinkable() const {
    // Compares what the name leads to, not only that it exists: in a container, /proc may belong to another
    // process namespace, where /proc/self is not this process.
    struct stat own = {};
    struct stat linked = {};
    return system_.fstat(file_.get(), &own) == 0 &&
           system_.fstatat(AT_FDCWD, linkableName(file_.get()).c_str(), &linked, 0) == 0 &&
           areOfSameFile(own, linked);
}

void TemporaryFile::openNamed() {
    // Closed before another file is made: this one may be unnamed but not linkable.
    file_ = Descriptor();
    name_ = makeTemporary([this](const char* name) {
        // O_EXCL: never a file that somebody else put there, and never through a symlink.
        file_ = open(name, O_CREAT | O_EXCL | O_NOFOLLOW);
        return static_cast<bool>(file_);
    });
    if (use_ == Use::scratch && file_) {
        if (system_.unlinkat(directory_, name_.c_str(), 0) == 0) {
            name_.clear();
        } else {
            // A scratch file that keeps a name could be read by others and would survive a killed process, so it
            // counts as not made. Closing it must not change the reason in errno.
            const int reason = errno;
            file_ = Descriptor();
            errno = reason;
        }
    }
}

bool TemporaryFile::giveName() {
    if (name_.empty()) {
        const std::string source = linkableName(file_.get());
        name_ = makeTemporary([&](const char* name) {
            return system_.linkat(AT_FDCWD, source.c_str(), directory_, name, AT_SYMLINK_FOLLOW) == 0;
        });
    }
    return !name_.empty();
}

bool TemporaryFile::moveTo(const char* name) {
    // Both names are in the same directory, and so in one file system: rename(2) replaces the target in one step.
    if (system_.renameat(directory_, name_.c_str(), directory_, name) != 0) {
        return false;
    }
    // From now on the name is the target's. The destructor must not remove it.
    name_.clear();
    return true;
}

}  // namespace bex::stream

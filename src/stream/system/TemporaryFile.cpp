#include "stream/system/TemporaryFile.hpp"

#include <fcntl.h>

#include <cerrno>

#include "stream/system/TemporaryName.hpp"

namespace bex::stream {

namespace {

constexpr mode_t kOwnersOnly = 0600;
constexpr mode_t kNewFile = 0666;  // less the umask

/// Where a descriptor can be linked from; linkat's AT_EMPTY_PATH would ask for a privilege.
std::string linkableName(int descriptor) {
    return "/proc/self/fd/" + std::to_string(descriptor);
}

bool isSameFile(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

}  // namespace

TemporaryFile::TemporaryFile(int directory, Use use, System& system)
    : directory_(directory), use_(use), system_(system), file_(open(".", O_TMPFILE)) {
    // Why there is no unnamed file is not asked: a reason that matters fails the named one, too. Without /proc an
    // unnamed file could not get its name later.
    if (!file_ || (use_ == Use::target && !isLinkable())) {
        openNamed();
    }
}

TemporaryFile::~TemporaryFile() {
    if (!name_.empty()) {  // guard: a temporary file goes when the build fails
        system_.unlinkat(directory_, name_.c_str(), 0);
    }
}

Descriptor TemporaryFile::open(const char* name, int flags) const {
    const mode_t mode = use_ == Use::scratch ? kOwnersOnly : kNewFile;
    return {system_.openat(directory_, name, flags | O_RDWR | O_CLOEXEC, mode), system_};
}

bool TemporaryFile::isLinkable() const {
    struct stat own = {};
    struct stat linked = {};
    return system_.fstat(file_.get(), &own) == 0 &&
           system_.fstatat(AT_FDCWD, linkableName(file_.get()).c_str(), &linked, 0) == 0 &&
           isSameFile(own, linked);
}

void TemporaryFile::openNamed() {
    file_ = Descriptor();
    name_ = makeTemporary([this](const char* name) {
        file_ = open(name, O_CREAT | O_EXCL | O_NOFOLLOW);
        return static_cast<bool>(file_);
    });
    if (use_ == Use::scratch && file_) {
        if (system_.unlinkat(directory_, name_.c_str(), 0) == 0) {
            name_.clear();
        } else {
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
    if (system_.renameat(directory_, name_.c_str(), directory_, name) != 0) {
        return false;
    }
    name_.clear();
    return true;
}

}  // namespace bex::stream

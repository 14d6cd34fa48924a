#include "stream/extract/Directories.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <iterator>

#include "stream/base/Text.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::stream {

namespace {

// Until the attributes are restored: whatever the entry's mode, files can be made below, and nobody else looks in.
constexpr mode_t kUnfinishedMode = 0700;

}  // namespace

Directories::~Directories() {
    // restoreAll() removes each entry before it tries it, so that this ends.
    while (!pending_.empty()) {
        try {
            restoreAll();
        } catch (...) {  // meant: the extraction has failed already; the next directory may still succeed
        }
    }
}

bool Directories::make(const std::string& path, const RestoredAttributes& attributes, const Place& place) {
    if (!path.empty() && !create(path, place)) {
        return false;
    }
    pending_[path] = attributes;
    return true;
}

/// Returns false where what exists is kept.
bool Directories::create(const std::string& path, const Place& place) {
    const int parent = openParent(path, place);
    const char* name = nameOf(path);
    if (context_.system.mkdirat(parent, name, kUnfinishedMode) == 0) {
        return true;
    }
    if (errno != EEXIST) {
        place.failSystem("create", errno);
    }
    return useExisting(parent, name, place);
}

/// Returns false where what exists is kept.
bool Directories::useExisting(int parent, const char* name, const Place& place) const {
    System& system = context_.system;
    struct stat status = {};
    if (system.fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        place.failSystem("create", errno);
    }
    if (context_.existing == Existing::keep) {
        return false;
    }
    if (!S_ISDIR(status.st_mode)) {
        if (context_.existing == Existing::error) {
            place.failSystem("create", EEXIST);
        }
        if (system.unlinkat(parent, name, 0) != 0 || system.mkdirat(parent, name, kUnfinishedMode) != 0) {
            place.failSystem("replace", errno);
        }
        return true;
    }
    // The owner needs all three bits to make entries below; restoreAll() sets the mode that the package gives.
    const mode_t mode = status.st_mode & 07777U;
    if ((mode & kUnfinishedMode) != kUnfinishedMode &&
        system.fchmodat(parent, name, mode | kUnfinishedMode, AT_SYMLINK_NOFOLLOW) != 0) {
        place.failSystem("set its mode", errno);
    }
    return true;
}

void Directories::restoreAll() {
    // From the back: a path sorts after those of the directories above it, which so stay accessible until their
    // contents are done.
    while (!pending_.empty()) {
        // Taken out first: one that fails is not tried again.
        const auto last = pending_.extract(std::prev(pending_.end()));
        restoreOne(last.key(), last.mapped());
    }
}

void Directories::restoreOne(const std::string& path, const RestoredAttributes& attributes) {
    ExtractContext context = context_;
    context.place.goTo(orIfEmpty(path, "./"));
    // Walked again, and no directory is made: one that was moved away meanwhile is an error.
    const int parent = parents_.open(parentOf(path), DirectoryWalk::Missing::refuse, context.place);
    const char* name = path.empty() ? "." : nameOf(path);
    // guard: directories' attributes through a symlink
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    const Descriptor directory(context.system.openat(parent, name, flags, 0), context.system);
    if (!directory) {
        context.place.failSystem("open", errno);
    }
    restore(attributes, directory.get(), context);
}

}  // namespace bex::stream

#include "stream/extract/DirectoryWalk.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

constexpr mode_t kImpliedDirectoryMode = 0755;  // less the umask
// guard: symlinks on the way, step by step
constexpr int kDirectory = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr std::size_t kPieceBytes = PATH_MAX - 1;  // less the NUL

/// Takes as many whole components off the front as one system call accepts; at least one.
std::string_view takePiece(std::string_view& path, std::size_t limitBytes) {
    std::size_t end = path.size();
    if (end > limitBytes) {
        // The slash may stand right after the limit, so that the piece has `limitBytes` bytes.
        end = path.rfind('/', limitBytes);
    }
    if (end == std::string_view::npos) {  // the first component alone is longer
        end = std::min(path.find('/'), path.size());
    }
    const std::string_view piece = path.substr(0, end);
    path.remove_prefix(std::min(end + 1, path.size()));
    return piece;
}

}  // namespace

bool isPlainPath(std::string_view path) noexcept {
    // A NUL would cut the path off in a system call. A slash at the end would ask for a directory.
    if (path.find('\0') != std::string_view::npos || (!path.empty() && path.back() == '/')) {
        return false;
    }
    return forEachComponent(path, [](std::string_view component) {
        return !component.empty() && component != "." && component != "..";
    });
}

std::string_view parentOf(std::string_view path) noexcept {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) {
        return {};
    }
    return path.substr(0, slash);
}

const char* nameOf(const std::string& path) noexcept {
    return path.c_str() + (path.rfind('/') + 1);  // npos + 1 is 0
}

int DirectoryWalk::open(std::string_view path, Missing missing, const Place& place) {
    if (path.empty()) {
        return root_;
    }
    if (!last_ || path != lastPath_) {
        // Replaced, not changed: those who hold the old directory keep it open. A walk that throws leaves both
        // members as they were.
        last_ = std::make_shared<const Descriptor>(walk(path, missing, place));
        lastPath_ = path;
    }
    return last_->get();
}

HeldDirectory DirectoryWalk::hold(std::string_view path, Missing missing, const Place& place) {
    const int directory = open(path, missing, place);
    // The number in the pair is only valid as long as the second keeps the directory open; the root is the
    // caller's.
    return {directory, directory == root_ ? nullptr : last_};
}

Descriptor DirectoryWalk::walk(std::string_view path, Missing missing, const Place& place) const {
    Descriptor current;
    int from = root_;
    while (!path.empty()) {
        // At most PATH_MAX - 1 bytes a call: a path of the package may be longer than what the system takes at
        // once.
        const std::string_view piece = takePiece(path, kPieceBytes);
        Descriptor next(system_.openBeneath(from, std::string(piece).c_str(), kDirectory), system_);
        // Whatever the reason, a missing call or directory or a symlink: one step at a time tells.
        if (!next) {
            next = walkSlowly(from, piece, missing, place);
        }
        // Assigned before `from`: the directory that the walk came from is closed, and its number must not be used
        // again.
        current = std::move(next);
        from = current.get();
    }
    return current;
}

Descriptor DirectoryWalk::walkSlowly(int from, std::string_view piece, Missing missing, const Place& place) const {
    Descriptor current;
    while (!piece.empty()) {
        const std::string name(takePiece(piece, 0));
        current = step(from, name, missing, place);
        from = current.get();
    }
    return current;
}

Descriptor DirectoryWalk::step(int from, const std::string& name, Missing missing, const Place& place) const {
    // O_NOFOLLOW and one component: no symlink can lead anywhere else.
    Descriptor next(system_.openat(from, name.c_str(), kDirectory, 0), system_);
    if (!next && errno == ENOENT && missing == Missing::make) {
        make(from, name, place);
        // Opened again with O_NOFOLLOW: between the two calls somebody may have put a symlink there.
        next = Descriptor(system_.openat(from, name.c_str(), kDirectory, 0), system_);
    }
    if (!next) {
        explain(from, name, errno, place);
    }
    return next;
}

void DirectoryWalk::make(int from, const std::string& name, const Place& place) const {
    // One that somebody else made meanwhile serves as well.
    if (system_.mkdirat(from, name.c_str(), kImpliedDirectoryMode) != 0 && errno != EEXIST) {
        place.failSystem("create " + describe(name), errno);
    }
}

std::string DirectoryWalk::describe(const std::string& name) const {
    return std::string(whose_) + " directory \"" + escapeForDisplay(name) + '"';
}

void DirectoryWalk::explain(int from, const std::string& name, int errorNumber, const Place& place) const {
    if (errorNumber == ENOENT) {
        place.fail(ErrorKind::refused, "destination", describe(name) + " does not exist in the destination");
    }
    if (errorNumber != ENOTDIR && errorNumber != ELOOP) {
        place.failSystem("open " + describe(name), errorNumber);
    }
    // Only to say more in the message: the decision was made by the failed open.
    struct stat status = {};
    const bool isLink =
        system_.fstatat(from, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
    const char* const what = isLink ? "a symlink" : "not a directory";
    place.fail(ErrorKind::refused, "destination", describe(name) + " is " + what + " in the destination");
}

}  // namespace bex::stream

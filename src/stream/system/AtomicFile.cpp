#include "stream/system/AtomicFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>
#include <vector>

#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/system/WriteFully.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kPieceBytes = std::size_t{1} << 20;  // through memory
constexpr std::size_t kSoonBytes = std::size_t{8} << 20;   // large writes: more small ones would take longer

/// "" for a path that ends in a slash.
std::string lastName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

}  // namespace

std::string directoryOf(const std::string& path) {
    return std::string(orIfEmpty(std::string_view(path).substr(0, path.rfind('/') + 1), "."));  // npos + 1 is 0
}

Target::Target(std::string thePath, System& theSystem)
    : path(std::move(thePath)),
      name(lastName(path)),
      system(theSystem),
      directory(system.openat(AT_FDCWD, directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0),
                system) {
    if (!directory) {
        fail("open its directory");
    }
    check();
}

void Target::fail(const char* action) const {
    throw systemFailure(path, action, errno);
}

void Target::refuse(const char* reason) const {
    Place(path).fail(ErrorKind::inputOutput, reason);
}

void Target::check() const {
    struct stat found = {};
    // A NUL would end the path early at the system call, and another file would be replaced than the one that
    // messages name.
    if (name.empty() || path.find('\0') != std::string::npos) {
        refuse("is not a regular file");
    }
    // Followed: a link is replaced itself, but hardly meant to be where it leads to a device or a directory. A
    // link that leads nowhere is replaced.
    if (system.fstatat(directory.get(), name.c_str(), &found, 0) == 0) {
        if (!S_ISREG(found.st_mode) || leadsIntoProc()) {  // guard: targets that are not files
            refuse("is not a regular file");
        }
    } else if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP) {
        fail("look up the existing file");
    }
}

bool Target::leadsIntoProc() const {
    constexpr std::string_view proc = "/proc/";
    std::array<char, proc.size()> link = {};
    const ssize_t size = system.readlinkat(directory.get(), name.c_str(), link.data(), link.size());
    return size == static_cast<ssize_t>(link.size()) && std::string_view(link.data(), link.size()) == proc;
}

AtomicFile::AtomicFile(std::string path, System& system)
    : target_(std::move(path), system), file_(target_.directory.get(), TemporaryFile::Use::target, system) {
    if (!file_) {
        target_.fail("create a temporary file beside it");
    }
}

void AtomicFile::requireUncommitted() const {
    if (committed_) {  // guard: targets are never written in place
        target_.refuse("is committed already");
    }
}

void AtomicFile::write(const char* data, std::size_t size) {
    requireUncommitted();
    if (!writeFully(target_.system, file_.get(), {data, size})) {
        // The temporary file then has a part of the bytes. That does no harm: nothing moves it to the target
        // without commit().
        target_.fail("write");
    }
    writeSoon(size);
}

/// The disk begins while more is appended, so that sync() waits for little.
void AtomicFile::writeSoon(std::size_t appended) {
    waiting_ += appended;
    if (waiting_ >= kSoonBytes) {
        waiting_ = 0;
        // A hint: what fails here fails when the file is synced.
        target_.system.beginWriting(file_.get());
    }
}

void AtomicFile::copy(int descriptor, const std::string& source, std::uint64_t offset, std::size_t size) {
    requireUncommitted();
    while (size != 0) {
        ssize_t count = target_.system.copyFileRange(descriptor, static_cast<off_t>(offset), file_.get(), size);
        if (count <= 0) {
            // Which errors mean that the kernel can't do it differs between file systems, and so does what 0
            // means: reading and writing do it, or give the reason.
            count = copyThroughMemory(descriptor, source, offset, std::min(size, kPieceBytes));
        }
        offset += static_cast<std::size_t>(count);
        size -= static_cast<std::size_t>(count);
        writeSoon(static_cast<std::size_t>(count));
    }
}

ssize_t AtomicFile::copyThroughMemory(int descriptor, const std::string& source, std::uint64_t offset,
                                      std::size_t size) {
    std::vector<char> piece(size);
    const ssize_t count = target_.system.pread(descriptor, piece.data(), size, static_cast<off_t>(offset));
    if (count < 0) {
        throw systemFailure(source, "read", errno);
    }
    // The size was found out before, and the file changed since. Zeros in the gap would be a package that nobody
    // wrote.
    if (count == 0) {
        Place(source).fail(ErrorKind::inputOutput, "became shorter while it was read");
    }
    write(piece.data(), static_cast<std::size_t>(count));
    return count;
}

void AtomicFile::rewrite(std::uint64_t offset, std::string_view bytes) {
    requireUncommitted();
    // Back to the end afterwards: write() and copy() append at the descriptor's position.
    if (target_.system.lseek(file_.get(), static_cast<off_t>(offset), SEEK_SET) < 0 ||
        !writeFully(target_.system, file_.get(), bytes) || target_.system.lseek(file_.get(), 0, SEEK_END) < 0) {
        target_.fail("write");
    }
}

void AtomicFile::takeAttributes(const struct stat& other) {
    requireUncommitted();
    // Before the mode, which chown may change. A user who is not root can give a file to nobody else.
    if (target_.system.fchown(file_.get(), other.st_uid, other.st_gid) != 0 && errno != EPERM) {
        target_.fail("set its owner");
    }
    // Without set-user-ID and the like: they must not pass to contents that the owner never marked.
    if (target_.system.fchmod(file_.get(), other.st_mode & 0777U) != 0) {
        target_.fail("set its mode");
    }
}

void AtomicFile::sync() {
    requireUncommitted();
    // In this order: a name must never lead to contents that a crash could still lose.
    if (target_.system.fsync(file_.get()) != 0) {  // guard(false): contents are synced before the rename
        target_.fail("sync");
    }
}

void AtomicFile::place() {
    requireUncommitted();
    if (!file_.giveName()) {
        target_.fail("name the temporary file beside it");
    }
    if (!file_.moveTo(target_.name.c_str())) {
        target_.fail("replace");
    }
    // From here on the target must never be written in place, whatever fails later.
    committed_ = true;
}

void AtomicFile::commit() {
    sync();
    place();
    // EINVAL: a file system that does not sync directories.
    // guard(false): the directory is synced after it
    if (target_.system.fsync(target_.directory.get()) != 0 && errno != EINVAL) {
        target_.fail("sync its directory, but the file is written");
    }
}

}  // namespace bex::stream

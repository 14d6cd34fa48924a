#include "stream/system/AtomicFile.hpp"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/system/WriteFully.hpp"

namespace bex::stream {

namespace {

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
    Place(path).fail(ErrorKind::inputOutput, codeOf(ErrorKind::inputOutput), reason);
}

void Target::check() const {
    struct stat found = {};
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
        fail("look up what stands there");
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
        target_.fail("write");
    }
}

void AtomicFile::commit() {
    requireUncommitted();
    // In this order: a name must never lead to contents that a crash could still lose.
    if (target_.system.fsync(file_.get()) != 0) {  // guard(false): contents are synced before the rename
        target_.fail("sync");
    }
    if (!file_.giveName()) {
        target_.fail("name the temporary file beside it");
    }
    if (!file_.moveTo(target_.name.c_str())) {
        target_.fail("replace");
    }
    committed_ = true;
    // EINVAL: a file system that does not sync directories.
    // guard(false): the directory is synced after it
    if (target_.system.fsync(target_.directory.get()) != 0 && errno != EINVAL) {
        target_.fail("sync its directory, but the file is written");
    }
}

}  // namespace bex::stream

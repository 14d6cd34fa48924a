#include "repo/files/Files.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <vector>

#include "repo/base/Failure.hpp"
#include "stream/system/AtomicFile.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::repo {

namespace {

using stream::Descriptor;

constexpr const char* kTemporaryPrefix = ".bex-";  // that of TemporaryFile
constexpr mode_t kDirectoryMode = 0777;            // less what the umask takes

/// What stands under the path; nothing where nothing does.
std::optional<struct stat> statusOf(const std::string& path) {
    struct stat status = {};
    if (System::real().fstatat(AT_FDCWD, path.c_str(), &status, 0) == 0) {
        return status;
    }
    if (errno == ENOENT || errno == ENOTDIR) {
        return std::nullopt;
    }
    throw systemFailure(path, "look it up", errno);
}

std::string parentOf(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return path.substr(0, slash);
}

}  // namespace

std::optional<std::string> readFile(const std::string& path) {
    System& system = System::real();
    // Not blocking: a FIFO in the place of a file must not hold the repository's lock for ever.
    const Descriptor file(system.openat(AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK, 0), system);
    if (!file && (errno == ENOENT || errno == ENOTDIR)) {
        return std::nullopt;
    }
    struct stat status = {};
    if (!file || system.fstat(file.get(), &status) != 0) {
        throw systemFailure(path, "open it", errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw failure(ErrorKind::inputOutput, "input-output", path, "is not a regular file");
    }
    // Files of a repository are replaced and never changed in place, so that the size of an open one holds.
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = system.read(file.get(), bytes.data() + done, bytes.size() - done);
        if (count < 0) {
            throw systemFailure(path, "read it", errno);
        }
        if (count == 0) {
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    bytes.resize(done);
    return bytes;
}

// The path itself is tried first: nearly always only the last directory is missing, or none.
void makeDirectories(const std::string& path, System& system) {
    if (path.empty() || system.mkdirat(AT_FDCWD, path.c_str(), kDirectoryMode) == 0) {
        if (!path.empty()) {
            // Without it a crash could lose the directory, together with files in it that were synced.
            syncDirectory(parentOf(path), system);
        }
        return;
    }
    const int error = errno;
    if (error == ENOENT) {
        makeDirectories(parentOf(path), system);
        makeDirectories(path, system);
        return;
    }
    const auto status = statusOf(path);
    // A link to a directory will do; anything else of that name will not.
    if (error != EEXIST || !status || !S_ISDIR(status->st_mode)) {
        throw systemFailure(path, "make the directory", error);
    }
}

void writeFile(const std::string& path, std::string_view bytes, System& system) {
    stream::AtomicFile file(path, system);
    file.write(bytes.data(), bytes.size());
    file.commit();
}

bool linkOver(const std::string& from, const std::string& to, System& system) {
    if (isSameFile(from, to)) {
        return false;  // rename(2) of one file's two names does nothing, and would leave the temporary one
    }
    // One name for all: only the process that holds the repository's lock links here.
    const std::string temporary = stream::directoryOf(to) + "/" + kTemporaryPrefix + "link";
    removeFile(temporary, system);  // of a process that was killed
    // A link first, then a rename: link(2) does not replace, and a removed target would be missing for a moment.
    if (system.linkat(AT_FDCWD, from.c_str(), AT_FDCWD, temporary.c_str(), 0) != 0) {
        const auto bytes = readFile(from);
        if (!bytes) {
            throw systemFailure(from, "open it", ENOENT);
        }
        writeFile(to, *bytes, system);
        return true;
    }
    // The caller syncs the directory, once for all links in it; the file itself was synced under its first name.
    if (system.renameat(AT_FDCWD, temporary.c_str(), AT_FDCWD, to.c_str()) != 0) {
        const int error = errno;
        system.unlinkat(AT_FDCWD, temporary.c_str(), 0);  // What it reports is no more than the failure before.
        throw systemFailure(to, "replace it", error);
    }
    return true;
}

bool removeFile(const std::string& path, System& system) {
    if (system.unlinkat(AT_FDCWD, path.c_str(), 0) == 0) {
        return true;
    }
    if (errno != ENOENT && errno != ENOTDIR) {
        throw systemFailure(path, "remove it", errno);
    }
    return false;
}

std::optional<std::uint64_t> sizeOfFile(const std::string& path) {
    const auto status = statusOf(path);
    if (!status || !S_ISREG(status->st_mode)) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(status->st_size);
}

bool isSameFile(const std::string& a, const std::string& b) {
    const auto first = statusOf(a);
    const auto second = statusOf(b);
    return first && second && first->st_dev == second->st_dev && first->st_ino == second->st_ino;
}

void syncDirectory(const std::string& path, System& system) {
    const Descriptor directory(
        system.openat(AT_FDCWD, path.empty() ? "." : path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0), system);
    // EINVAL: a file system that does not sync directories.
    if (!directory || (system.fsync(directory.get()) != 0 && errno != EINVAL)) {
        throw systemFailure(path, "sync the directory", errno);
    }
}

}  // namespace bex::repo

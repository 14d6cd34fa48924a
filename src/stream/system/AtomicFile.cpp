#include "bex/stream/AtomicFile.hpp"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "stream/base/Place.hpp"
#include "stream/system/Descriptor.hpp"
#include "stream/system/System.hpp"
#include "stream/system/TemporaryName.hpp"

namespace bex::stream {

namespace {

constexpr mode_t kNewFileMode = 0666;  // less the umask

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return path.substr(0, slash + 1);
}

/// "" for a path that ends in a slash.
std::string lastName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

/// Where a descriptor can be linked from; linkat's AT_EMPTY_PATH would ask for a privilege.
std::string linkableName(int descriptor) {
    return "/proc/self/fd/" + std::to_string(descriptor);
}

bool isSameFile(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

}  // namespace

class AtomicFile::File {
public:
    File(std::string path, System& system) : path_(std::move(path)), name_(lastName(path_)), system_(system) {
        folder_ = Descriptor(
            system_.openat(AT_FDCWD, folderOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0), system_);
        if (!folder_) {
            fail("open its folder");
        }
        checkTarget();
        if (!openUnnamed()) {
            openNamed();
        }
    }

    ~File() {
        if (!temporaryName_.empty()) {  // guard: a temporary file goes when the build fails
            system_.unlinkat(folder_.get(), temporaryName_.c_str(), 0);
        }
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    void write(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t count = system_.write(file_.get(), bytes.data(), bytes.size());
            if (count < 0) {
                fail("write");
            }
            if (count == 0) {
                refuse("can't write: the system takes no more bytes");
            }
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }

    void commit() {
        if (system_.fsync(file_.get()) != 0) {  // guard(false): contents are synced before the rename
            fail("sync");
        }
        if (temporaryName_.empty()) {
            nameTheUnnamed();
        }
        if (system_.renameat(folder_.get(), temporaryName_.c_str(), folder_.get(), name_.c_str()) != 0) {
            fail("replace");
        }
        temporaryName_.clear();
        // EINVAL: a file system that has no syncing of folders.
        if (system_.fsync(folder_.get()) != 0 && errno != EINVAL) {  // guard(false): the folder is synced after it
            fail("sync its folder, but the file is written");
        }
    }

    int descriptor() const noexcept { return file_.get(); }

private:
    [[noreturn]] void fail(const char* action) const { throw systemFailure(path_, action, errno); }
    [[noreturn]] void refuse(const char* reason) const {
        Place(path_).fail(ErrorKind::inputOutput, codeOf(ErrorKind::inputOutput), reason);
    }

    void checkTarget() const {
        struct stat target = {};
        if (name_.empty() || path_.find('\0') != std::string::npos) {
            refuse("is not a regular file");
        }
        // Followed: a link is replaced itself, but hardly meant to be where it leads to a device or a folder. One
        // that leads nowhere is replaced.
        if (system_.fstatat(folder_.get(), name_.c_str(), &target, 0) == 0) {
            if (!S_ISREG(target.st_mode) || leadsIntoProc()) {  // guard: targets that are no files
                refuse("is not a regular file");
            }
        } else if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP) {
            fail("look up what stands there");
        }
    }

    bool leadsIntoProc() const {
        constexpr std::string_view proc = "/proc/";
        std::array<char, proc.size()> link = {};
        const ssize_t size = system_.readlinkat(folder_.get(), name_.c_str(), link.data(), link.size());
        return size == static_cast<ssize_t>(link.size()) && std::string_view(link.data(), link.size()) == proc;
    }

    /// False where there is no unnamed file, or a missing /proc would keep it from getting a name later. No reason
    /// is looked at: one that matters stops the named file, too.
    bool openUnnamed() {
        file_ = openTemporary(".", O_TMPFILE);
        return file_ && isLinkable();
    }

    Descriptor openTemporary(const char* name, int flags) {
        return {system_.openat(folder_.get(), name, flags | O_RDWR | O_CLOEXEC, kNewFileMode), system_};
    }

    bool isLinkable() const {
        struct stat own = {};
        struct stat linked = {};
        return system_.fstat(file_.get(), &own) == 0 &&
               system_.fstatat(AT_FDCWD, linkableName(file_.get()).c_str(), &linked, 0) == 0 &&
               isSameFile(own, linked);
    }

    void openNamed() {
        file_ = Descriptor();
        temporaryName_ = makeTemporary([this](const char* name) {
            file_ = openTemporary(name, O_CREAT | O_EXCL | O_NOFOLLOW);
            return static_cast<bool>(file_);
        });
        if (temporaryName_.empty()) {
            fail("create a temporary file beside it");
        }
    }

    void nameTheUnnamed() {
        const std::string source = linkableName(file_.get());
        temporaryName_ = makeTemporary([&](const char* name) {
            return system_.linkat(AT_FDCWD, source.c_str(), folder_.get(), name, AT_SYMLINK_FOLLOW) == 0;
        });
        if (temporaryName_.empty()) {
            fail("name the temporary file beside it");
        }
    }

    std::string path_;
    std::string name_;
    System& system_;
    Descriptor folder_;
    Descriptor file_;
    std::string temporaryName_;  ///< while there is one
};

AtomicFile::AtomicFile(std::string path) : AtomicFile(std::move(path), System::real()) {}

AtomicFile::AtomicFile(std::string path, System& system)
    : file_(std::make_unique<File>(std::move(path), system)) {}

AtomicFile::~AtomicFile() = default;

void AtomicFile::write(const char* data, std::size_t size) {
    file_->write({data, size});
}

void AtomicFile::commit() {
    file_->commit();
}

int AtomicFile::descriptor() const noexcept {
    return file_->descriptor();
}

}  // namespace bex::stream

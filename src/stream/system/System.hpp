#pragma once

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <ctime>

namespace bex::stream {

/// The one door to the operating system: every call on files that the streaming library makes. A test derives
/// from it and lets a call fail. Each function is the system call of its name: the result and errno are the
/// call's own, but a call interrupted by a signal (EINTR) is repeated; a close so interrupted has closed.
/// Stateless, so that threads may share one.
class System {
public:
    virtual ~System() = default;

    /// The calls themselves. Lives for ever.
    static System& real() noexcept;

    virtual int openat(int directory, const char* path, int flags, mode_t mode);
    /// openat2(2) with RESOLVE_BENEATH and RESOLVE_NO_SYMLINKS; -1 with ENOSYS where the kernel has none.
    virtual int openBeneath(int directory, const char* path, int flags);
    virtual int close(int descriptor);
    virtual ssize_t read(int descriptor, void* buffer, std::size_t size);
    virtual ssize_t pread(int descriptor, void* buffer, std::size_t size, off_t offset);
    virtual ssize_t write(int descriptor, const void* data, std::size_t size);
    /// copy_file_range(2) to the position of `to`, which moves on; `offset` stays as it is.
    virtual ssize_t copyFileRange(int from, off_t offset, int to, std::size_t size);
    /// sync_file_range(2) of the whole file: begins to write to the disk what is cached, and does not wait for it.
    virtual int beginWriting(int descriptor);
    virtual off_t lseek(int descriptor, off_t offset, int whence);
    virtual int fallocate(int descriptor, int mode, off_t offset, off_t size);
    virtual int fsync(int descriptor);
    virtual int fstat(int descriptor, struct stat* result);
    virtual int fstatat(int directory, const char* path, struct stat* result, int flags);
    virtual ssize_t readlinkat(int directory, const char* path, char* buffer, std::size_t size);
    virtual int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags);
    virtual int renameat(int fromFolder, const char* from, int toFolder, const char* to);
    virtual int unlinkat(int directory, const char* path, int flags);
    virtual int mkdirat(int directory, const char* path, mode_t mode);
    virtual int symlinkat(const char* target, int directory, const char* path);
    virtual int fchmod(int descriptor, mode_t mode);
    virtual int fchmodat(int directory, const char* path, mode_t mode, int flags);
    virtual int fchown(int descriptor, uid_t uid, gid_t gid);
    virtual int fchownat(int directory, const char* path, uid_t uid, gid_t gid, int flags);
    virtual int futimens(int descriptor, const struct timespec times[2]);
    virtual int utimensat(int directory, const char* path, const struct timespec times[2], int flags);
    virtual DIR* fdopendir(int descriptor);
    virtual struct dirent* readdir(DIR* directory);
    virtual int closedir(DIR* directory);
};

/// Whether both are of one file. Inode numbers are unique within one file system only.
inline bool areOfSameFile(const struct stat& left, const struct stat& right) noexcept {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

/// Times are compared to the nanosecond: a file may change twice within a second.
inline bool areSameTime(const struct timespec& left, const struct timespec& right) noexcept {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

}  // namespace bex::stream

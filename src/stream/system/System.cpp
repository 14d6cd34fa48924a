#include "stream/system/System.hpp"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace bex::stream {

namespace {

static_assert(sizeof(off_t) >= 8 && sizeof(time_t) >= 8, "sizes and times of packages have 64 bits");

template <typename Call>
/// Repeats a call that a signal interrupted before it did anything. A handler may be installed without SA_RESTART
/// by the program that uses the library, and no caller here expects EINTR.
auto repeatInterrupted(Call call) -> decltype(call()) {
    decltype(call()) result = 0;
    do {
        result = call();
    } while (result == -1 && errno == EINTR);
    return result;
}

/// Linux has closed the descriptor even when it reports EINTR; another thread may own its number by now.
int closed(int result) {
    if (result != 0 && errno == EINTR) {
        return 0;
    }
    return result;
}

}  // namespace

// Nothing here keeps state: System is used by all threads at once.
System& System::real() noexcept {
    static System system;
    return system;
}

int System::openat(int directory, const char* path, int flags, mode_t mode) {
    return repeatInterrupted([&] { return ::openat(directory, path, flags, mode); });
}

int System::openBeneath(int directory, const char* path, int flags) {
    // No wrapper of the C library: glibc has none for openat2(2). The structure is cleared, because the kernel
    // refuses bits that it does not know.
    open_how how = {};
    how.flags = static_cast<__u64>(flags);
    // guard: symlinks on the way, openat2
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    return static_cast<int>(
        repeatInterrupted([&] { return syscall(SYS_openat2, directory, path, &how, sizeof how); }));
}

int System::close(int descriptor) {
    return closed(::close(descriptor));
}

ssize_t System::read(int descriptor, void* buffer, std::size_t size) {
    return repeatInterrupted([&] { return ::read(descriptor, buffer, size); });
}

ssize_t System::pread(int descriptor, void* buffer, std::size_t size, off_t offset) {
    return repeatInterrupted([&] { return ::pread(descriptor, buffer, size, offset); });
}

ssize_t System::write(int descriptor, const void* data, std::size_t size) {
    return repeatInterrupted([&] { return ::write(descriptor, data, size); });
}

ssize_t System::copyFileRange(int from, off_t offset, int to, std::size_t size) {
    // The offset is a copy of the caller's, which stays as it is. The null means the target's own position, which
    // advances.
    return repeatInterrupted([&] { return ::copy_file_range(from, &offset, to, nullptr, size, 0); });
}

int System::beginWriting(int descriptor) {
    return repeatInterrupted([&] { return ::sync_file_range(descriptor, 0, 0, SYNC_FILE_RANGE_WRITE); });
}

off_t System::lseek(int descriptor, off_t offset, int whence) {
    // Never interrupted: nothing is waited for.
    return ::lseek(descriptor, offset, whence);
}

int System::fallocate(int descriptor, int mode, off_t offset, off_t size) {
    return repeatInterrupted([&] { return ::fallocate(descriptor, mode, offset, size); });
}

int System::fsync(int descriptor) {
    return repeatInterrupted([&] { return ::fsync(descriptor); });
}

int System::fstat(int descriptor, struct stat* result) {
    return repeatInterrupted([&] { return ::fstat(descriptor, result); });
}

int System::fstatat(int directory, const char* path, struct stat* result, int flags) {
    return repeatInterrupted([&] { return ::fstatat(directory, path, result, flags); });
}

ssize_t System::readlinkat(int directory, const char* path, char* buffer, std::size_t size) {
    return repeatInterrupted([&] { return ::readlinkat(directory, path, buffer, size); });
}

int System::linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) {
    return repeatInterrupted([&] { return ::linkat(fromFolder, from, toFolder, to, flags); });
}

int System::renameat(int fromFolder, const char* from, int toFolder, const char* to) {
    return repeatInterrupted([&] { return ::renameat(fromFolder, from, toFolder, to); });
}

int System::unlinkat(int directory, const char* path, int flags) {
    return repeatInterrupted([&] { return ::unlinkat(directory, path, flags); });
}

int System::mkdirat(int directory, const char* path, mode_t mode) {
    return repeatInterrupted([&] { return ::mkdirat(directory, path, mode); });
}

int System::symlinkat(const char* target, int directory, const char* path) {
    return repeatInterrupted([&] { return ::symlinkat(target, directory, path); });
}

int System::fchmod(int descriptor, mode_t mode) {
    return repeatInterrupted([&] { return ::fchmod(descriptor, mode); });
}

int System::fchmodat(int directory, const char* path, mode_t mode, int flags) {
    return repeatInterrupted([&] { return ::fchmodat(directory, path, mode, flags); });
}

int System::fchown(int descriptor, uid_t uid, gid_t gid) {
    return repeatInterrupted([&] { return ::fchown(descriptor, uid, gid); });
}

int System::fchownat(int directory, const char* path, uid_t uid, gid_t gid, int flags) {
    return repeatInterrupted([&] { return ::fchownat(directory, path, uid, gid, flags); });
}

int System::futimens(int descriptor, const struct timespec times[2]) {
    return repeatInterrupted([&] { return ::futimens(descriptor, times); });
}

int System::utimensat(int directory, const char* path, const struct timespec times[2], int flags) {
    return repeatInterrupted([&] { return ::utimensat(directory, path, times, flags); });
}

DIR* System::fdopendir(int descriptor) {
    return ::fdopendir(descriptor);
}

struct dirent* System::readdir(DIR* directory) {
    // Not repeated, and errno is not cleared: the caller sets it to 0 first, to tell the end from an error.
    return ::readdir(directory);
}

int System::closedir(DIR* directory) {
    return closed(::closedir(directory));
}

}  // namespace bex::stream

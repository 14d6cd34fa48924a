// Preloaded into a program: makes one call of the system or of the allocator fail, stop or end the process.
//
// Instead of starting the program, it serves orders on descriptor 198 and answers on 199, a line each. An order
// "KIND NTH" forks and runs the program's main with that fault; "warm" runs main in the server itself, so that
// what is made only once is there before blocks are counted. The answer to a run: "stopped CALL" (any line goes on
// with it), then "WAITSTATUS CALL COUNT BLOCKS DESCRIPTORS": the call that the fault met or "-", how many calls it
// could have met so far, and what main left behind. KIND: an error's number; "short" (a read or write moves half
// of its bytes); "memory"; "new" (memory too, but only by the operator); "kill"; "stop". BEX_NAMED_FILES in the
// environment: no unnamed files, as on file systems that have none.

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
}

namespace {

constexpr int kOrders = 198;
constexpr int kAnswers = 199;
constexpr long kOpenat2 = 437;

enum class Kind { none, error, shortTransfer, memory, newOperator, kill, stop };

Kind kind = Kind::none;
int errorNumber = 0;
std::atomic<long> left{0};    // calls until the fault
std::atomic<long> blocks{0};  // that are allocated

/// Shared with the server, which outlives a run.
struct Outcome {
    char call[32];
    long count;
    long blocks;
    long descriptors;
};
Outcome* outcome = nullptr;

/// Counts a call that a fault of `wanted` kind may meet; true when it is the one.
bool meets(Kind wanted, const char* call) {
    if (kind != wanted || --left != 0) {
        return false;
    }
    std::strncpy(outcome->call, call, sizeof outcome->call - 1);
    return true;
}

/// Whether the call is to fail, with errno set; ends or stops the process where that was asked for.
bool fails(const char* call) {
    if (meets(Kind::kill, call)) {
        raise(SIGKILL);
    }
    if (meets(Kind::stop, call)) {
        raise(SIGSTOP);
    }
    const bool failing = meets(Kind::error, call);
    if (failing) {
        errno = errorNumber;
    }
    return failing;
}

bool lacksMemory(const char* call) {
    const bool failing = meets(Kind::memory, call);
    if (failing) {
        errno = ENOMEM;
    }
    return failing;
}

/// What the system takes for a thread's stack it keeps for the next thread.
thread_local bool isStartingThread = false;

void* counted(void* block) {
    blocks += block != nullptr && !isStartingThread ? 1 : 0;
    return block;
}

/// The function behind ours. `Function` is ours, for its type alone.
template <typename Function>
Function* real(Function* /*ours*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

template <typename Function, typename... Arguments>
auto pass(Function* ours, const char* name, Arguments... arguments) {
    using Result = decltype(ours(arguments...));
    return fails(name) ? Result(-1) : real(ours, name)(arguments...);
}

/// The same for a transfer of `size` bytes, which may be cut short.
template <typename Function, typename... Arguments>
auto transfer(Function* ours, const char* name, std::size_t size, Arguments... before) {
    return [=](auto... after) {
        const std::size_t part = size > 1 && meets(Kind::shortTransfer, name) ? size / 2 : size;
        return fails(name) ? ssize_t(-1) : real(ours, name)(before..., part, after...);
    };
}

/// A close that fails has closed all the same.
template <typename Function, typename Handle>
int closing(Function* ours, const char* name, Handle handle) {
    const bool failing = fails(name);
    const int error = errno;
    const int result = real(ours, name)(handle);
    errno = failing ? error : errno;
    return failing ? -1 : result;
}

using Main = int (*)(int, char**, char**);
Main programMain = nullptr;

long openDescriptors() {
    long count = 0;
    for (int number = 0; number < kOrders; ++number) {
        count += fcntl(number, F_GETFD) != -1 ? 1 : 0;
    }
    return count;
}

int runOnce(int argc, char** argv, char** environment) {
    const long blocksBefore = blocks;
    const long descriptorsBefore = openDescriptors();
    const int status = programMain(argc, argv, environment);
    kind = Kind::none;
    outcome->blocks = blocks - blocksBefore;
    outcome->descriptors = openDescriptors() - descriptorsBefore;
    return status;
}

/// From the order's first word.
Kind kindOf(const std::string& word) {
    return word == "short"    ? Kind::shortTransfer
           : word == "memory" ? Kind::memory
           : word == "new"    ? Kind::newOperator
           : word == "kill"   ? Kind::kill
           : word == "stop"   ? Kind::stop
                              : Kind::error;
}

int serve(int argc, char** argv, char** environment) {
    void* shared = mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    outcome = static_cast<Outcome*>(shared);
    FILE* orders = fdopen(kOrders, "r");
    char word[16];
    for (long nth = 0; std::fscanf(orders, "%15s %ld", word, &nth) == 2;) {
        *outcome = {"-", 0, 0, 0};
        if (std::strcmp(word, "warm") == 0) {
            runOnce(argc, argv, environment);
            dprintf(kAnswers, "warm\n");
            continue;
        }
        const pid_t child = fork();
        if (child == 0) {
            kind = kindOf(word);
            errorNumber = std::atoi(word);
            left = nth;
            const int status = runOnce(argc, argv, environment);
            outcome->count = nth - left;
            exit(status);
        }
        int status = 0;
        while (waitpid(child, &status, WUNTRACED) == child && WIFSTOPPED(status)) {
            dprintf(kAnswers, "stopped %s\n", outcome->call);
            std::fscanf(orders, "%15s %ld", word, &nth);
            ::kill(child, SIGCONT);
        }
        dprintf(kAnswers, "%d %s %ld %ld %ld\n", status, outcome->call, outcome->count, outcome->blocks,
                outcome->descriptors);
    }
    return 0;
}

bool lacksUnnamedFiles(int flags) {
    return (flags & O_TMPFILE) == O_TMPFILE && std::getenv("BEX_NAMED_FILES") != nullptr;
}

}  // namespace

void* operator new(std::size_t size) {
    void* const block = meets(Kind::newOperator, "new") ? nullptr : std::malloc(size);
    return block != nullptr ? block : throw std::bad_alloc();
}

extern "C" {

int __libc_start_main(Main main, int argc, char** argv, void (*init)(), void (*fini)(), void (*end)(),
                      void* stack) {
    programMain = main;
    return real(&__libc_start_main, "__libc_start_main")(serve, argc, argv, init, fini, end, stack);
}

void* malloc(std::size_t size) {
    return lacksMemory("malloc") ? nullptr : counted(__libc_malloc(size));
}
void* calloc(std::size_t count, std::size_t size) {
    return lacksMemory("calloc") ? nullptr : counted(__libc_calloc(count, size));
}
void* realloc(void* block, std::size_t size) {
    if (lacksMemory("realloc")) {
        return nullptr;
    }
    return block == nullptr ? counted(__libc_realloc(block, size)) : __libc_realloc(block, size);
}
void free(void* block) {
    blocks -= block != nullptr ? 1 : 0;
    __libc_free(block);
}
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) {
    if (lacksMemory("pthread_create")) {
        return EAGAIN;
    }
    isStartingThread = true;
    const int result = real(&pthread_create, "pthread_create")(thread, attributes, run, argument);
    isStartingThread = false;
    return result;
}

int open(const char* path, int flags, ...) {
    return fails("open") ? -1 : real(&open, "open")(path, flags);  // the program makes no file by it
}
int openat(int folder, const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    if (lacksUnnamedFiles(flags)) {
        errno = EOPNOTSUPP;
        return -1;
    }
    return fails("openat") ? -1 : real(&openat, "openat")(folder, path, flags, mode);
}
long syscall(long number, ...) noexcept {
    va_list rest;
    va_start(rest, number);
    long a[6];
    for (long& argument : a) {
        argument = va_arg(rest, long);
    }
    va_end(rest);
    const bool failing = number == kOpenat2 && fails("openat2");
    return failing ? -1 : real(&syscall, "syscall")(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}
ssize_t read(int descriptor, void* buffer, std::size_t size) {
    return transfer(&read, "read", size, descriptor, buffer)();
}
ssize_t pread(int descriptor, void* buffer, std::size_t size, off_t offset) {
    return transfer(&pread, "pread", size, descriptor, buffer)(offset);
}
ssize_t write(int descriptor, const void* data, std::size_t size) {
    return transfer(&write, "write", size, descriptor, data)();
}
ssize_t copy_file_range(int from, off_t* fromOffset, int to, off_t* toOffset, std::size_t size, unsigned flags) {
    return transfer(&copy_file_range, "copy_file_range", size, from, fromOffset, to, toOffset)(flags);
}
off_t lseek(int descriptor, off_t offset, int whence) noexcept {
    return pass(&lseek, "lseek", descriptor, offset, whence);
}
ssize_t readlinkat(int folder, const char* path, char* buffer, std::size_t size) noexcept {
    return pass(&readlinkat, "readlinkat", folder, path, buffer, size);
}
int close(int descriptor) {
    return closing(&close, "close", descriptor);
}
int fclose(FILE* file) {
    return closing(&fclose, "fclose", file);
}
int closedir(DIR* folder) {
    return closing(&closedir, "closedir", folder);
}
FILE* fopen64(const char* path, const char* mode) {
    return fails("fopen") ? nullptr : real(&fopen64, "fopen64")(path, mode);
}
char* realpath(const char* path, char* to) noexcept {
    return fails("realpath") ? nullptr : real(&realpath, "realpath")(path, to);
}
ssize_t writev(int descriptor, const iovec* parts, int count) {
    return pass(&writev, "writev", descriptor, parts, count);
}
DIR* fdopendir(int descriptor) {
    return fails("fdopendir") ? nullptr : real(&fdopendir, "fdopendir")(descriptor);
}
dirent* readdir(DIR* folder) {
    return fails("readdir") ? nullptr : real(&readdir, "readdir")(folder);
}

// The rest differ in nothing but their parameters, which no function can take over from a name.
#define INTERPOSE(name, parameters, ...)        \
    int name parameters {                       \
        return pass(&name, #name, __VA_ARGS__); \
    }
// By another name here: a function that is called like a type hides it.
int statOf(const char* path, struct stat* to) __asm__("stat");
int statOf(const char* path, struct stat* to) {
    return pass(&statOf, "stat", path, to);
}
int stat64Of(const char* path, struct stat64* to) __asm__("stat64");
int stat64Of(const char* path, struct stat64* to) {
    return pass(&stat64Of, "stat64", path, to);
}
INTERPOSE(lstat64, (const char* path, struct stat64* to) noexcept, path, to)
INTERPOSE(mkdir, (const char* path, mode_t mode) noexcept, path, mode)
INTERPOSE(chmod, (const char* path, mode_t mode) noexcept, path, mode)
INTERPOSE(rename, (const char* from, const char* to) noexcept, from, to)
INTERPOSE(fsync, (int file), file)
INTERPOSE(fallocate, (int file, int mode, off_t offset, off_t size), file, mode, offset, size)
INTERPOSE(mkstemp, (char* path), path)
INTERPOSE(ftruncate, (int file, off_t size) noexcept, file, size)
INTERPOSE(lstat, (const char* path, struct stat* to) noexcept, path, to)
INTERPOSE(fstat, (int file, struct stat* to) noexcept, file, to)
INTERPOSE(fstatat, (int folder, const char* path, struct stat* to, int flags) noexcept, folder, path, to, flags)
INTERPOSE(linkat, (int from, const char* old, int to, const char* path, int flags) noexcept, from, old, to, path,
          flags)
INTERPOSE(renameat, (int from, const char* old, int to, const char* path) noexcept, from, old, to, path)
INTERPOSE(unlink, (const char* path) noexcept, path)
INTERPOSE(unlinkat, (int folder, const char* path, int flags) noexcept, folder, path, flags)
INTERPOSE(mkdirat, (int folder, const char* path, mode_t mode) noexcept, folder, path, mode)
INTERPOSE(symlinkat, (const char* target, int folder, const char* path) noexcept, target, folder, path)
INTERPOSE(fchmod, (int file, mode_t mode) noexcept, file, mode)
INTERPOSE(fchmodat, (int folder, const char* path, mode_t mode, int flags) noexcept, folder, path, mode, flags)
INTERPOSE(fchown, (int file, uid_t user, gid_t group) noexcept, file, user, group)
INTERPOSE(fchownat, (int folder, const char* path, uid_t user, gid_t group, int flags) noexcept, folder, path,
          user, group, flags)
INTERPOSE(futimens, (int file, const timespec* times) noexcept, file, times)
INTERPOSE(utimensat, (int folder, const char* path, const timespec* times, int flags) noexcept, folder, path,
          times, flags)
}

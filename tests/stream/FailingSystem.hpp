#pragma once

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Failure.hpp"
#include "stream/system/System.hpp"

namespace bex::test {

/// The system with one call that fails: the Nth of all, or the Nth of one name. The failing call is not made,
/// but for closes: those close and report failure, as the kernel does. Every call's name is logged. Threads may
/// share one once it is set up.
class FailingSystem : public stream::System {
public:
    /// Lets the `nth` call (from 1) fail with `error`; of all calls, or of those named `call`.
    void failAt(std::size_t nth, int error, std::string call = {}) {
        nth_ = nth;
        error_ = error;
        call_ = std::move(call);
    }
    /// Lets every call named `call` fail with `error`, beside what failAt() chose.
    void failAlways(int error, const std::string& call) { always_[call] = error; }
    /// Reads and writes move at most `bytes` at once.
    void limitTransfers(std::size_t bytes) { limit_ = bytes; }
    /// Is told the name of each call, and its number from 1, before it is made.
    void watch(std::function<void(const std::string& call, std::size_t nth)> observer) {
        observer_ = std::move(observer);
    }

    /// Whether the call that failAt() chose was reached.
    bool hasFailed() const { return failed_; }
    /// The names of the calls in order.
    const std::vector<std::string>& log() const { return log_; }
    std::size_t count(std::string_view call) const {
        return static_cast<std::size_t>(std::count(log_.begin(), log_.end(), call));
    }
    void clearLog() { log_.clear(); }

    int openat(int at, const char* path, int flags, mode_t mode) override {
        return pass("openat") ? System::openat(at, path, flags, mode) : -1;
    }
    int openBeneath(int at, const char* path, int flags) override {
        return pass("openBeneath") ? System::openBeneath(at, path, flags) : -1;
    }
    int close(int fd) override {
        const int error = pass("close") ? 0 : errno;
        return closed(System::close(fd), error);
    }
    ssize_t read(int fd, void* to, std::size_t size) override {
        return pass("read") ? System::read(fd, to, std::min(size, limit_)) : -1;
    }
    ssize_t pread(int fd, void* to, std::size_t size, off_t offset) override {
        return pass("pread") ? System::pread(fd, to, std::min(size, limit_), offset) : -1;
    }
    ssize_t write(int fd, const void* data, std::size_t size) override {
        return pass("write") ? System::write(fd, data, std::min(size, limit_)) : -1;
    }
    ssize_t copyFileRange(int from, off_t offset, int to, std::size_t size) override {
        return pass("copyFileRange") ? System::copyFileRange(from, offset, to, std::min(size, limit_)) : -1;
    }
    int beginWriting(int fd) override { return pass("beginWriting") ? System::beginWriting(fd) : -1; }
    off_t lseek(int fd, off_t by, int from) override { return pass("lseek") ? System::lseek(fd, by, from) : -1; }
    int fallocate(int fd, int mode, off_t offset, off_t size) override {
        return pass("fallocate") ? System::fallocate(fd, mode, offset, size) : -1;
    }
    int fsync(int fd) override { return pass("fsync") ? System::fsync(fd) : -1; }
    int fstat(int fd, struct stat* to) override { return pass("fstat") ? System::fstat(fd, to) : -1; }
    int fstatat(int at, const char* path, struct stat* to, int flags) override {
        return pass("fstatat") ? System::fstatat(at, path, to, flags) : -1;
    }
    ssize_t readlinkat(int at, const char* path, char* to, std::size_t size) override {
        return pass("readlinkat") ? System::readlinkat(at, path, to, size) : -1;
    }
    int linkat(int fromAt, const char* from, int toAt, const char* to, int flags) override {
        return pass("linkat") ? System::linkat(fromAt, from, toAt, to, flags) : -1;
    }
    int renameat(int fromAt, const char* from, int toAt, const char* to) override {
        return pass("renameat") ? System::renameat(fromAt, from, toAt, to) : -1;
    }
    int unlinkat(int at, const char* path, int flags) override {
        return pass("unlinkat") ? System::unlinkat(at, path, flags) : -1;
    }
    int mkdirat(int at, const char* path, mode_t mode) override {
        return pass("mkdirat") ? System::mkdirat(at, path, mode) : -1;
    }
    int symlinkat(const char* target, int at, const char* path) override {
        return pass("symlinkat") ? System::symlinkat(target, at, path) : -1;
    }
    int fchmod(int fd, mode_t mode) override { return pass("fchmod") ? System::fchmod(fd, mode) : -1; }
    int fchmodat(int at, const char* path, mode_t mode, int flags) override {
        return pass("fchmodat") ? System::fchmodat(at, path, mode, flags) : -1;
    }
    int fchown(int fd, uid_t uid, gid_t gid) override {
        return pass("fchown") ? System::fchown(fd, uid, gid) : -1;
    }
    int fchownat(int at, const char* path, uid_t uid, gid_t gid, int flags) override {
        return pass("fchownat") ? System::fchownat(at, path, uid, gid, flags) : -1;
    }
    int futimens(int fd, const timespec t[2]) override { return pass("futimens") ? System::futimens(fd, t) : -1; }
    int utimensat(int at, const char* path, const timespec times[2], int flags) override {
        return pass("utimensat") ? System::utimensat(at, path, times, flags) : -1;
    }
    DIR* fdopendir(int fd) override { return pass("fdopendir") ? System::fdopendir(fd) : nullptr; }
    dirent* readdir(DIR* folder) override { return pass("readdir") ? System::readdir(folder) : nullptr; }
    int closedir(DIR* folder) override {
        const int error = pass("closedir") ? 0 : errno;
        return closed(System::closedir(folder), error);
    }

private:
    /// What a close that was made reports: its own result where `error` is 0.
    static int closed(int result, int error) {
        errno = error == 0 ? errno : error;
        return error == 0 ? result : -1;
    }

    /// Logs the call; false, with errno set, where it is to fail.
    bool pass(const char* name) {
        const std::lock_guard<std::mutex> lock(mutex_);
        log_.emplace_back(name);
        if (observer_) {
            observer_(name, log_.size());
        }
        const bool isChosen = (call_.empty() || call_ == name) && ++seen_ == nth_;
        failed_ = failed_ || isChosen;
        const auto rule = always_.find(name);
        if (isChosen || rule != always_.end()) {
            errno = isChosen ? error_ : rule->second;
            return false;
        }
        return true;
    }

    std::size_t nth_ = 0;
    int error_ = 0;
    std::string call_;
    std::map<std::string, int, std::less<>> always_;
    std::size_t limit_ = std::numeric_limits<std::size_t>::max();
    std::function<void(const std::string&, std::size_t)> observer_;
    std::mutex mutex_;
    std::vector<std::string> log_;
    std::size_t seen_ = 0;
    bool failed_ = false;
};

/// Runs `action(system)` with the first call failing, then with the second, and so on until none is left that
/// could fail; after each run `check(failure, call)` is given the action's message, "" for success, and the
/// call's name. `action` must throw where it fails; it may set the system up.
template <typename Action, typename Check>
void failEachCall(int error, Action action, Check check) {
    for (std::size_t nth = 1;; ++nth) {
        FailingSystem system;
        system.failAt(nth, error);
        const std::string failure = failureOf([&] { action(system); });
        if (!system.hasFailed()) {
            return;
        }
        check(failure, system.log()[nth - 1]);
    }
}

}  // namespace bex::test

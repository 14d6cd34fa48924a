#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <limits>
#include <mutex>

namespace bex::stream {

/// The order of jobs that each handle a part of the same contents, in threads of their own. A job does its part
/// when all parts before it are done. The jobs must be begun in order, so that a thread only ever waits for jobs
/// that other threads are working on.
class Turns {
public:
    /// Waits until the contents up to `offset` are done, for the job that has `job` as its place in the order.
    /// Returns false when that will not happen. Until the next pass() nobody else has the turn.
    bool waitFor(std::uint64_t offset, std::uint64_t job) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return done_ == offset || failedJob_ < job; });
        return done_ == offset;
    }

    /// So many bytes more are done.
    void pass(std::uint64_t size) {
        {
            const std::lock_guard lock(mutex_);
            done_ += size;
        }
        changed_.notify_all();
    }

    /// The job does nothing: ends the waiting of those after it. Those before it go on, so that the first failure
    /// in order can show.
    void fail(std::uint64_t job) {
        {
            const std::lock_guard lock(mutex_);
            failedJob_ = std::min(failedJob_, job);
        }
        changed_.notify_all();
    }

private:
    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    std::uint64_t done_ = 0;
    std::uint64_t failedJob_ = std::numeric_limits<std::uint64_t>::max();
};

}  // namespace bex::stream

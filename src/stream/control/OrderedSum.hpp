#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <limits>
#include <mutex>
#include <string_view>

#include "stream/control/Md5.hpp"

namespace bex::stream {

/// The sum of contents that lie in several jobs, each done by its own thread. A job adds its part when all parts
/// before it have been added. The jobs must be begun in order, so that a thread only ever waits for jobs that
/// other threads are working on.
class OrderedSum {
public:
    /// Waits until the contents up to `offset` have been added, for the job that has `job` as its place in the
    /// order. Returns false when that will not happen.
    bool waitFor(std::uint64_t offset, std::uint64_t job) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return added_ == offset || failedJob_ < job; });
        return added_ == offset;
    }

    /// Adds the next part. Only after waitFor(), which makes the caller the only one to use `sum`, and what is
    /// kept beside it, until this returns.
    void add(std::string_view part) {
        sum.update(part.data(), part.size());
        {
            const std::lock_guard lock(mutex_);
            added_ += part.size();
        }
        changed_.notify_all();
    }

    /// The job adds nothing: ends the waiting of those after it. Those before it go on, so that the first failure
    /// in order can show.
    void fail(std::uint64_t job) {
        {
            const std::lock_guard lock(mutex_);
            failedJob_ = std::min(failedJob_, job);
        }
        changed_.notify_all();
    }

    Md5 sum;  ///< of what has been added

private:
    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    std::uint64_t added_ = 0;
    std::uint64_t failedJob_ = std::numeric_limits<std::uint64_t>::max();
};

}  // namespace bex::stream

#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <limits>
#include <mutex>
#include <string_view>

#include "stream/control/Md5.hpp"
#include "stream/writer/FileReader.hpp"

namespace bex::stream {

/// The sum of a file whose contents lie in several blocks of the payload, each made by its own thread. A block
/// adds its part when all parts before it have been added. Blocks are begun in order, so a thread only ever waits
/// for blocks that other threads are working on.
class SpanningFile {
public:
    /// Waits until the contents up to `offset` have been added, for the block that begins at `block` of the
    /// stream. Returns false when that will not happen.
    bool waitFor(std::uint64_t offset, std::uint64_t block) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return added_ == offset || failedBlock_ < block; });
        return added_ == offset;
    }

    /// Adds the next part. Only after waitFor(), which makes the caller the only one to use `sum` and `times`
    /// until this returns.
    void add(std::string_view part, const ChangeTimes& read) {
        if (added_ == 0) {
            times.before = read.before;
        }
        times.after = read.after;
        sum.update(part.data(), part.size());
        {
            const std::lock_guard lock(mutex_);
            added_ += part.size();
        }
        changed_.notify_all();
    }

    /// The block that begins at `block` adds nothing: ends the waiting of those after it. Those before it go on,
    /// so that the first failure in the payload's order can show.
    void fail(std::uint64_t block) {
        {
            const std::lock_guard lock(mutex_);
            failedBlock_ = std::min(failedBlock_, block);
        }
        changed_.notify_all();
    }

    Md5 sum;            ///< of what has been added
    ChangeTimes times;  ///< before the first part and after the last one that has been added

private:
    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    std::uint64_t added_ = 0;
    std::uint64_t failedBlock_ = std::numeric_limits<std::uint64_t>::max();
};

}  // namespace bex::stream

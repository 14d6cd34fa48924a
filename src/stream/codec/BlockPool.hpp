#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "stream/codec/Buffer.hpp"

namespace bex::stream {

/// What one worker turns from `input` into `output`.
struct Block {
    Buffer input;
    Buffer output;
    std::uint64_t offset = 0;  ///< of the input in its stream, for messages
};

/// Works on blocks in threads of its own and gives them back in order. One thread, the owner, fills blocks and
/// takes results; workers touch a block between submit() and the moment front() gives it. A block that fails
/// keeps its exception until it is the front, so that what the owner sees does not depend on timing.
class BlockPool {
public:
    using Work = std::function<void(Block&)>;

    /// At most `capacity` blocks are in flight. `makeWork` is called once in each worker, so that a codec's handle
    /// is made where it is used; it may be called by several threads at once. No thread starts before the first
    /// submit(), none at all where `threads` is 1.
    BlockPool(unsigned threads, std::size_t capacity, std::function<Work()> makeWork);
    /// Waits for the blocks that are being worked on and drops those that are not.
    ~BlockPool();
    BlockPool(const BlockPool&) = delete;
    BlockPool& operator=(const BlockPool&) = delete;

    std::size_t size() const noexcept { return count_; }
    bool empty() const noexcept { return count_ == 0; }
    bool full() const noexcept { return count_ == slots_.size(); }

    /// The block that is submitted next, for its input to be filled. The pool must not be full.
    Block& next() noexcept { return slots_[(head_ + count_) % slots_.size()].block; }
    /// Hands next() to a worker.
    void submit();
    /// Works on next() here and now: for a block that nothing else can be done beside.
    void submitHere();

    /// Whether front() would not wait. The pool must not be empty.
    bool ready();
    /// The oldest block, done or not, for a look at its input. The pool must not be empty.
    const Block& oldest() const noexcept { return slots_[head_].block; }
    /// The oldest block, when it is done. Throws what its work threw. The pool must not be empty.
    Block& front();
    /// Gives the oldest block up, whatever became of it, when it is done.
    void pop();

private:
    struct Slot {
        Block block;
        bool done = false;
        std::exception_ptr failure;
    };

    void startWorker();
    void work();
    void run(Slot& slot, Work& work);
    Slot& waitForFront();

    const unsigned threads_;
    const std::function<Work()> makeWork_;
    std::vector<Slot> slots_;  // a ring; slots that are in flight are the workers' or, once done, the owner's
    std::size_t head_ = 0;
    std::size_t count_ = 0;
    Work ownWork_;

    std::mutex mutex_;  // guards what follows, and done and failure of the slots in flight
    std::condition_variable submitted_;
    std::condition_variable finished_;
    std::deque<Slot*> queue_;
    bool stopped_ = false;
    std::vector<std::thread> workers_;  // the owner's alone
};

}  // namespace bex::stream

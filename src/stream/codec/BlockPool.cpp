#include "stream/codec/BlockPool.hpp"

#include <system_error>
#include <utility>

namespace bex::stream {

BlockPool::BlockPool(unsigned threads, std::size_t capacity, std::function<Work()> makeWork)
    : threads_(threads), makeWork_(std::move(makeWork)), slots_(capacity) {}

BlockPool::~BlockPool() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
    }
    submitted_.notify_all();
    for (std::thread& worker : workers_) {
        worker.join();
    }
}

void BlockPool::submit() {
    if (threads_ > 1 && workers_.size() < threads_) {
        startWorker();
    }
    if (workers_.empty()) {
        submitHere();
        return;
    }
    Slot& slot = slots_[(head_ + count_) % slots_.size()];
    {
        const std::lock_guard lock(mutex_);
        slot.done = false;
        queue_.push_back(&slot);
    }
    ++count_;
    submitted_.notify_one();
}

void BlockPool::submitHere() {
    Slot& slot = slots_[(head_ + count_) % slots_.size()];
    run(slot, ownWork_);
    slot.done = true;
    ++count_;
}

bool BlockPool::ready() {
    const std::lock_guard lock(mutex_);
    return slots_[head_].done;
}

Block& BlockPool::front() {
    Slot& slot = waitForFront();
    if (slot.failure) {
        std::rethrow_exception(slot.failure);
    }
    return slot.block;
}

void BlockPool::pop() {
    waitForFront().failure = nullptr;
    head_ = (head_ + 1) % slots_.size();
    --count_;
}

/// One for each block until there are enough: a short stream needs no more threads than blocks. Fewer than asked
/// for do as well where the system has no more to give.
void BlockPool::startWorker() {
    try {
        workers_.emplace_back([this] { work(); });
    } catch (const std::system_error&) {
        return;
    }
}

void BlockPool::work() {
    Work work;
    std::unique_lock lock(mutex_);
    while (true) {
        submitted_.wait(lock, [this] { return stopped_ || !queue_.empty(); });
        if (stopped_) {
            return;
        }
        Slot& slot = *queue_.front();
        queue_.pop_front();
        lock.unlock();
        run(slot, work);
        lock.lock();
        slot.done = true;
        finished_.notify_one();
    }
}

void BlockPool::run(Slot& slot, Work& work) {
    try {
        if (!work) {
            work = makeWork_();
        }
        work(slot.block);
    } catch (...) {
        slot.failure = std::current_exception();
    }
}

BlockPool::Slot& BlockPool::waitForFront() {
    Slot& slot = slots_[head_];
    std::unique_lock lock(mutex_);
    finished_.wait(lock, [&slot] { return slot.done; });
    return slot;
}

}  // namespace bex::stream

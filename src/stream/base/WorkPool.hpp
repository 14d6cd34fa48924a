#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace bex::stream {

/// How many threads are meant by an option: 0 stands for one for each processor.
inline unsigned threadCount(unsigned option) {
    if (option != 0) {
        return option;
    }
    return std::max(1U, std::thread::hardware_concurrency());
}

/// How many jobs to keep in flight: enough to cover the time that one job takes longer than its neighbours. One
/// thread works at once, in submit().
inline std::size_t jobsInFlight(unsigned threads) {
    if (threads <= 1) {
        return 1;
    }
    return std::size_t{threads} * 2;
}

/// Works on jobs in threads of its own and gives them back in order. One thread, the owner, fills jobs and takes
/// results; workers touch a job between submit() and the moment front() gives it. A job that fails keeps its
/// exception until it is the front, so that what the owner sees does not depend on timing.
template <typename Job>
class WorkPool {
public:
    using Work = std::function<void(Job&)>;

    /// At most `capacity` jobs are in flight. `makeWork` is called once for each worker, by the owner: what it
    /// throws comes out of submit(), so that a job fails by its work alone. No thread starts before the first
    /// submit(), none at all where `threads` is 1.
    WorkPool(unsigned threads, std::size_t capacity, std::function<Work()> makeWork)
        : mostWorkers_(threads > 1 ? threads : 0), makeWork_(std::move(makeWork)), slots_(capacity) {}
    /// Waits for the jobs that are being worked on and drops those that are not.
    ~WorkPool() {
        {
            const std::lock_guard lock(mutex_);
            stopped_ = true;
        }
        submitted_.notify_all();
        for (std::thread& worker : workers_) {
            worker.join();
        }
    }
    WorkPool(const WorkPool&) = delete;
    WorkPool& operator=(const WorkPool&) = delete;

    /// Lets one worker take all jobs in order, for work that keeps state from job to job. Before the first
    /// submit().
    void keepToOneWorker() noexcept { mostWorkers_ = std::min(mostWorkers_, 1U); }

    std::size_t size() const noexcept { return count_; }
    bool empty() const noexcept { return count_ == 0; }
    bool full() const noexcept { return count_ == slots_.size(); }

    /// The job that is submitted next, to be filled. The pool must not be full.
    Job& next() noexcept { return nextSlot().job; }

    /// Hands next() to a worker. Where this throws, next() is still the owner's.
    void submit() {
        if (workers_.size() < mostWorkers_) {
            startWorker();
        }
        if (workers_.empty()) {
            submitHere();
            return;
        }
        Slot& slot = nextSlot();
        {
            const std::lock_guard lock(mutex_);
            slot.done = false;
            queue_.push_back(&slot);
        }
        ++count_;
        submitted_.notify_one();
    }

    /// Works on next() here and now: for a job that nothing else can be done beside.
    void submitHere() {
        if (!ownWork_) {
            ownWork_ = makeWork_();
        }
        Slot& slot = nextSlot();
        run(slot, ownWork_);
        slot.done = true;
        ++count_;
    }

    /// Whether front() would not wait. The pool must not be empty.
    bool ready() {
        const std::lock_guard lock(mutex_);
        return slots_[head_].done;
    }

    /// The oldest job, done or not, for a look at what it was given. The pool must not be empty.
    const Job& oldest() const noexcept { return slots_[head_].job; }

    /// The oldest job, when it is done. Throws what its work threw. The pool must not be empty.
    Job& front() {
        Slot& slot = waitForFront();
        if (slot.failure) {
            std::rethrow_exception(slot.failure);
        }
        return slot.job;
    }

    /// Gives the oldest job up, whatever became of it, when it is done.
    void pop() {
        waitForFront().failure = nullptr;
        head_ = (head_ + 1) % slots_.size();
        --count_;
    }

private:
    struct Slot {
        Job job;
        bool done = false;
        std::exception_ptr failure;
    };

    Slot& nextSlot() noexcept { return slots_[(head_ + count_) % slots_.size()]; }

    /// One for each job until there are enough: little work needs no more threads than jobs. Fewer than asked for
    /// do as well where the system has no more to give.
    void startWorker() {
        try {
            workers_.emplace_back([this, work = makeWork_()] { runJobs(work); });
        } catch (const std::system_error&) {
            return;
        }
    }

    void runJobs(const Work& work) {
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

    static void run(Slot& slot, const Work& work) {
        try {
            work(slot.job);
        } catch (...) {
            slot.failure = std::current_exception();
        }
    }

    Slot& waitForFront() {
        Slot& slot = slots_[head_];
        std::unique_lock lock(mutex_);
        finished_.wait(lock, [&slot] { return slot.done; });
        return slot;
    }

    unsigned mostWorkers_;
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

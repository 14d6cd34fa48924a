#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <vector>

#include "stream/base/WorkPool.hpp"

namespace bex::repo {

using Task = std::function<void()>;

/// Runs all tasks, on up to `threads` threads, and returns when they have ended. Of those that fail, the first one
/// in their order is reported, by its exception.
inline void runAll(const std::vector<Task>& tasks, unsigned threads) {
    struct Job {
        const Task* task = nullptr;
    };
    const std::size_t count = std::max<std::size_t>(tasks.size(), 1);
    const auto useful = static_cast<unsigned>(std::min<std::size_t>(threads, count));
    stream::WorkPool<Job> pool(useful, count, [] { return [](Job& job) { (*job.task)(); }; });
    for (const Task& task : tasks) {
        pool.next().task = &task;
        pool.submit();
    }
    while (!pool.empty()) {
        pool.front();
        pool.pop();
    }
}

}  // namespace bex::repo

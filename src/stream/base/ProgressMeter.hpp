#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

#include "bex/stream/Progress.hpp"

namespace bex::stream {

/// Counts what a long operation has done and calls back now and then: at most twenty times a second, and once at
/// the end. Even the clock is looked at only once in a while, so that it can be told of every small step.
/// Used by one thread at a time. Not copyable: there is one count.
class ProgressMeter {
public:
    /// An empty `callback` is allowed. `bytesTotal` is 0 while it is not known.
    explicit ProgressMeter(ProgressCallback callback, std::uint64_t bytesTotal = 0);
    ProgressMeter(const ProgressMeter&) = delete;
    ProgressMeter& operator=(const ProgressMeter&) = delete;

    /// Takes an estimate for the total, which finish() replaces by what was counted.
    void expect(std::uint64_t bytes) noexcept { bytesTotal_ = bytes; }

    /// Counts `bytes` (0 is allowed) of `entry`. Throws StreamError (`cancelled`) when the callback says so.
    void add(std::uint64_t bytes, std::string_view entry);

    /// The call at the end, with all that was counted. Throws as add(): nothing may be committed before it.
    void finish();

private:
    using Clock = std::chrono::steady_clock;

    void report(std::string_view entry);

    ProgressCallback callback_;
    std::uint64_t bytesDone_ = 0;
    std::uint64_t bytesTotal_;
    std::uint64_t sinceLook_ = 0;
    Clock::time_point next_{};  ///< the first look reports
};

}  // namespace bex::stream

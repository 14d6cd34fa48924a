#include "stream/base/ProgressMeter.hpp"

#include <utility>

#include "stream/base/Place.hpp"

namespace bex::stream {

namespace {

constexpr std::chrono::milliseconds kInterval(50);
constexpr std::uint64_t kLookEvery = std::uint64_t{256} << 10;
// A step costs time even when it has no bytes: empty files count for something.
constexpr std::uint64_t kStepCost = std::uint64_t{2} << 10;

}  // namespace

ProgressMeter::ProgressMeter(ProgressCallback callback, std::uint64_t bytesTotal)
    : callback_(std::move(callback)), bytesTotal_(bytesTotal) {}

void ProgressMeter::add(std::uint64_t bytes, std::string_view entry) {
    bytesDone_ += bytes;
    sinceLook_ += bytes + kStepCost;
    if (!callback_ || sinceLook_ < kLookEvery) {
        return;
    }
    sinceLook_ = 0;
    if (Clock::now() >= next_) {
        report(entry);
        next_ = Clock::now() + kInterval;
    }
}

void ProgressMeter::finish() {
    // An estimate may have been too high or too low. The last call must say that all is done.
    bytesTotal_ = bytesDone_;
    if (callback_) {
        report({});
    }
}

void ProgressMeter::report(std::string_view entry) {
    if (!callback_({bytesDone_, bytesTotal_, entry})) {
        throw StreamError(ErrorKind::cancelled, "cancelled");
    }
}

}  // namespace bex::stream

#pragma once

#include <functional>
#include <utility>

#include "bex/stream/Finding.hpp"
#include "bex/stream/ReadOptions.hpp"

namespace bex::stream {

/// Called for each finding when it is made; false ends the verification.
using FindingCallback = std::function<bool(const Finding&)>;

/// How a package is verified.
struct VerifyOptions : ReadOptions {
    VerifyOptions() = default;
    VerifyOptions(const ReadOptions& reading, FindingCallback callback = {})  // not explicit: ReadOptions will do
        : ReadOptions(reading), onFinding(std::move(callback)) {}

    FindingCallback onFinding;
};

}  // namespace bex::stream

#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "bex/stream/Finding.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

/// Lets errors pass whose code is allowed, and all warnings; throws FindingRefused for any other.
class Allowance final : public ErrorHandler {
public:
    explicit Allowance(std::vector<std::string> codes) : codes_(std::move(codes)) {
        std::sort(codes_.begin(), codes_.end());
    }

private:
    void onRefuse(const ErrorRecord& error) override {
        if (!std::binary_search(codes_.begin(), codes_.end(), error.code)) {
            throw FindingRefused(error);
        }
    }

    void onNote(Severity severity, const ErrorRecord& error) override {
        if (severity == Severity::error) {
            onRefuse(error);
        }
    }

    std::vector<std::string> codes_;  // sorted
};

}  // namespace bex::stream

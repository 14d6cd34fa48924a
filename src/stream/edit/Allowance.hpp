#pragma once

#include <string>
#include <vector>

#include "stream/base/Place.hpp"

namespace bex::stream {

/// Lets errors pass whose code is allowed, and all warnings; throws FindingRefused for any other.
class Allowance final : public ErrorHandler {
public:
    explicit Allowance(std::vector<std::string> codes);

private:
    void onRefuse(const ErrorRecord& error) override;
    void onNote(Severity severity, const ErrorRecord& error) override;

    std::vector<std::string> codes_;  // sorted
};

}  // namespace bex::stream

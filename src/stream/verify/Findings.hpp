#pragma once

#include <utility>
#include <vector>

#include "bex/stream/VerifyOptions.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

/// Collects what is wrong with a package and lets the reader go on.
class Findings final : public ErrorHandler {
public:
    /// Thrown where the callback ends the verification.
    struct Stopped {};

    explicit Findings(FindingCallback callback) : callback_(std::move(callback)) {}

    /// Lists the error that ended a step of the reading; once, if another step ended with it, too. Throws it again
    /// when it is not the package's fault.
    void addFailure(const StreamError& failure);

    std::vector<Finding> take() { return std::move(list_); }

private:
    // Both throw StreamError (`limitExceeded`) where there are 100000 findings already.
    void onRefuse(const ErrorRecord& error) override { onNote(Severity::error, error); }
    void onNote(Severity severity, const ErrorRecord& error) override;
    void add(Severity severity, const ErrorRecord& error);

    FindingCallback callback_;
    std::vector<Finding> list_;
};

}  // namespace bex::stream

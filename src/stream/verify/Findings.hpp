#pragma once

#include <string>
#include <utility>
#include <vector>

#include "bex/stream/Finding.hpp"
#include "stream/base/Fault.hpp"

namespace bex::stream {

/// Collects what is wrong with a package and lets the reader go on.
class Findings final : public FaultHandler {
public:
    void refuse(const std::string&, const Fault& fault) override { add(fault); }
    void note(const std::string&, const Fault& fault) override { add(fault); }

    /// Throws StreamError (`limitExceeded`) where there are 100000 already.
    void add(const Fault& fault);

    /// A failure that ended a step of the reading. Throws it again when it is not the package's fault. One that
    /// another step ended with, too, is listed once. `place` begins the messages about the member.
    void addFailure(const StreamError& failure, const std::string& member, const std::string& place);

    std::vector<Finding> take() { return std::move(list_); }

private:
    std::vector<Finding> list_;
};

}  // namespace bex::stream

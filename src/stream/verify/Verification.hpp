#pragma once

#include <string>
#include <vector>

#include "stream/reader/PackageStream.hpp"
#include "stream/verify/Findings.hpp"

namespace bex::stream {

/// One run of verify(): the steps of a reader, each taken although an earlier one failed.
class Verification {
public:
    Verification(const std::string& path, const ReadOptions& options, System& system);

    std::vector<Finding> run();

private:
    template <typename Step>
    void attempt(Step step);
    /// The member whose name begins so.
    Place placeOf(const std::string& stem);
    void checkControl();
    void checkPayload();

    Findings findings_;
    PackageStream stream_;
    std::vector<ControlMember> control_;
};

}  // namespace bex::stream

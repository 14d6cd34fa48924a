#pragma once

#include <string>
#include <vector>

#include "stream/reader/PackageStream.hpp"
#include "stream/verify/Findings.hpp"

namespace bex::stream {

/// One run of verify(): all steps of a reader, whatever became of the one before.
class Verification {
public:
    Verification(OpenInput input, const std::string& name, const VerifyOptions& options);

    /// Call once.
    std::vector<Finding> run();

private:
    template <typename Step>
    void attempt(Step step);
    /// `stem`: what the member is called while it has not been found.
    Place placeOf(MemberRole role, const char* stem);
    void checkControl();
    void checkPayload();

    Findings findings_;
    PackageStream stream_;
    std::vector<ControlMember> control_;
};

}  // namespace bex::stream

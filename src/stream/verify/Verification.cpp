#include "stream/verify/Verification.hpp"

#include <utility>

#include "stream/base/Place.hpp"
#include "stream/verify/PackageChecks.hpp"

namespace bex::stream {

Verification::Verification(OpenInput input, const std::string& name, const VerifyOptions& options)
    : findings_(options.onFinding), stream_(std::move(input), Place(name, findings_), options) {
    // guard: verify inflates with zlib
    stream_.beStrict();  // or what passes here might be refused by dpkg-deb
}

std::vector<Finding> Verification::run() {
    try {
        // Each step alone: an error in one leaves the others to be tried.
        attempt([&] { stream_.checkStructure(); });
        attempt([&] { checkControl(); });
        attempt([&] { checkPayload(); });
    } catch (const Findings::Stopped&) {  // what was found so far is the answer
    }
    return findings_.take();
}

template <typename Step>
void Verification::attempt(Step step) {
    try {
        step();
    } catch (const StreamError& failure) {
        // Throws it again where the system failed, not the package: then there is no answer.
        findings_.addFailure(failure);
    }
}

Place Verification::placeOf(MemberRole role, const char* stem) {
    const Member* const member = stream_.member(role);
    return Place(stream_.name(), findings_).in(member != nullptr ? member->name : stem);
}

void Verification::checkControl() {
    // If this throws, control_ is empty and the payload is checked without it.
    control_ = stream_.readControl();
    stream_.expect(checkControlMembers(control_, placeOf(MemberRole::control, "control.tar")));
}

void Verification::checkPayload() {
    stream::checkPayload(stream_, control_, placeOf(MemberRole::control, "control.tar"),
                         placeOf(MemberRole::data, "data.tar"), PayloadDepth::contents);
}

}  // namespace bex::stream

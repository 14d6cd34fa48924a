#include "stream/verify/Verification.hpp"

#include <optional>
#include <utility>

#include "bex/stream/ControlParagraph.hpp"
#include "stream/base/Place.hpp"
#include "stream/control/ControlOddities.hpp"
#include "stream/control/MaintainerScript.hpp"
#include "stream/control/Md5sums.hpp"
#include "stream/control/Triggers.hpp"
#include "stream/reader/ControlArchive.hpp"
#include "stream/verify/PayloadCheck.hpp"

namespace bex::stream {

namespace {

/// The longest name of a control member that dpkg installs.
constexpr std::size_t kLongestName = 100;

void note(const std::vector<Oddity>& oddities, const Place& place) {
    for (const Oddity& oddity : oddities) {
        place.note(oddity.code, oddity.reason, oddity.severity);
    }
}

/// Checks what this reader takes as it is and dpkg does not.
void checkMember(const ControlMember& member, const Place& place) {
    const std::string name = plainPath(member.entry.path);
    if (name.size() > kLongestName) {
        place.note("control-name",
                   "has a name of more than " + std::to_string(kLongestName) + " bytes, which dpkg refuses",
                   Severity::error);
    }
    if (name == "control") {
        note(controlOddities(member.contents), place);
    } else if (name == "triggers") {
        note(triggersOddities(member.contents), place);
    } else if (isMaintainerScript(name)) {
        if (const std::optional<Oddity> oddity = maintainerScriptOddity(member.contents)) {
            note({*oddity}, place);
        }
    }
}

}  // namespace

Verification::Verification(OpenInput input, const std::string& name, const VerifyOptions& options)
    : findings_(options.onFinding), stream_(std::move(input), Place(name, findings_), options) {
    // guard: verify inflates with zlib
    stream_.beStrict();  // or what passes here might be refused by dpkg-deb
}

std::vector<Finding> Verification::run() {
    try {
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
        findings_.addFailure(failure);
    }
}

Place Verification::placeOf(const std::string& stem) {
    std::string name = stem;
    for (const Member& member : stream_.members()) {
        if (member.name.compare(0, stem.size(), stem) == 0) {
            name = member.name;
            break;
        }
    }
    return Place(stream_.name(), findings_).in(name);
}

void Verification::checkControl() {
    control_ = stream_.readControl();
    const Place place = placeOf("control.tar");
    for (const ControlMember& member : control_) {
        checkMember(member, place.at(member.entry.path));
    }
    const ControlMember& control = *findMember(control_, "control");
    checkParagraph(control, place.at(control.entry.path));
}

void Verification::checkParagraph(const ControlMember& control, const Place& place) {
    try {
        const ControlParagraph paragraph = ControlParagraph::parse(control.contents, "control");
        stream_.expect(paragraph);
        for (const std::string& fault : paragraph.faults()) {
            place.note("field", fault, Severity::error);
        }
    } catch (const StreamError& failure) {
        place.note("control-syntax", failure.what(), Severity::error);
    }
}

void Verification::checkPayload() {
    const Place place = placeOf("control.tar");
    PayloadCheck check(stream_, placeOf("data.tar"));
    if (const ControlMember* conffiles = findMember(control_, "conffiles")) {
        check.expectConffiles(conffiles->contents, place);
    }
    if (const ControlMember* md5sums = findMember(control_, "md5sums")) {
        try {
            check.expectDigests(parseMd5sums(md5sums->contents, "md5sums"), place);
        } catch (const StreamError& failure) {
            place.at(md5sums->entry.path).note("md5-syntax", failure.what(), Severity::error);
        }
    }
    check.run();
}

}  // namespace bex::stream

#include "stream/verify/Verification.hpp"

#include "bex/stream/ControlParagraph.hpp"
#include "stream/base/Place.hpp"
#include "stream/control/Md5sums.hpp"
#include "stream/reader/ControlArchive.hpp"
#include "stream/verify/PayloadCheck.hpp"

namespace bex::stream {

Verification::Verification(const std::string& path, const ReadOptions& options, System& system)
    : stream_(Place(path, findings_), options, system) {
    // guard: verify inflates with zlib
    stream_.beStrict();  // or what passes here might be refused by dpkg-deb
}

std::vector<Finding> Verification::run() {
    attempt([&] { stream_.checkStructure(); });
    attempt([&] { checkControl(); });
    attempt([&] { checkPayload(); });
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
    const ControlMember& control = *findMember(control_, "control");
    const Place place = placeOf("control.tar").at(control.entry.path);
    try {
        for (const std::string& fault : ControlParagraph::parse(control.contents, "control").faults()) {
            place.refuse(ErrorKind::damaged, "field", fault);
        }
    } catch (const StreamError& failure) {
        place.refuse(ErrorKind::damaged, "control-syntax", failure.what());
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
            place.at(md5sums->entry.path).refuse(ErrorKind::damaged, "md5-syntax", failure.what());
        }
    }
    check.run();
}

}  // namespace bex::stream

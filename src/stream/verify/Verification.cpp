#include "stream/verify/Verification.hpp"

#include "bex/stream/ControlParagraph.hpp"
#include "stream/control/Md5sums.hpp"
#include "stream/reader/ControlArchive.hpp"
#include "stream/verify/PayloadCheck.hpp"

namespace bex::stream {

Verification::Verification(const std::string& path, const ReadOptions& options, System& system)
    : stream_(path, options, system, findings_) {
    stream_.beStrict();  // or what passes here might be refused by dpkg-deb
}

std::vector<Finding> Verification::run() {
    attempt("", [&] { stream_.checkStructure(); });
    attempt("control.tar", [&] { checkControl(); });
    attempt("data.tar", [&] { checkPayload(); });
    return findings_.take();
}

/// `stem` begins the name of the member that the step reads.
template <typename Step>
void Verification::attempt(const std::string& stem, Step step) {
    try {
        step();
    } catch (const StreamError& failure) {
        const std::string member = stem.empty() ? stem : memberWith(stem);
        findings_.addFailure(failure, member, faultsIn(member).place());
    }
}

std::string Verification::memberWith(std::string_view stem) const {
    for (const Member& member : stream_.members()) {
        if (member.name.compare(0, stem.size(), stem) == 0) {
            return member.name;
        }
    }
    return std::string(stem);
}

Faults Verification::faultsIn(const std::string& member) {
    return Faults(stream_.name(), findings_).in(member);
}

void Verification::checkControl() {
    control_ = stream_.readControl();
    const Faults faults = faultsIn(memberWith("control.tar"));
    const ControlMember& control = *findMember(control_, "control");
    try {
        for (const std::string& fault : ControlParagraph::parse(control.contents, "control").faults()) {
            faults.refuse(ErrorKind::damaged, "field", fault, control.entry.path);
        }
    } catch (const StreamError& failure) {
        faults.refuse(ErrorKind::damaged, "control-syntax", failure.getMessage(), control.entry.path);
    }
}

void Verification::checkPayload() {
    const Faults faults = faultsIn(memberWith("control.tar"));
    PayloadCheck check(stream_, faultsIn(memberWith("data.tar")));
    if (const ControlMember* conffiles = findMember(control_, "conffiles")) {
        check.expectConffiles(conffiles->contents, faults);
    }
    if (const ControlMember* md5sums = findMember(control_, "md5sums")) {
        try {
            check.expectDigests(parseMd5sums(md5sums->contents, "md5sums"), faults);
        } catch (const StreamError& failure) {
            faults.refuse(ErrorKind::damaged, "md5-syntax", failure.getMessage(), md5sums->entry.path);
        }
    }
    check.run();
}

}  // namespace bex::stream

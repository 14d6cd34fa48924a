#include "stream/verify/PackageChecks.hpp"

#include <optional>
#include <string>

#include "bex/stream/ControlParagraph.hpp"
#include "stream/control/Md5sums.hpp"
#include "stream/control/MemberOddities.hpp"
#include "stream/reader/ControlArchive.hpp"

namespace bex::stream {

namespace {

/// The longest name of a control member that dpkg installs.
constexpr std::size_t kLongestName = 100;

ControlParagraph checkParagraph(const ControlMember& control, const Place& place) {
    ControlParagraph paragraph;
    try {
        paragraph = ControlParagraph::parse(control.contents, "control");
    } catch (const StreamError& failure) {
        // The paragraph stays empty, and the other checks go on.
        place.note("control-syntax", failure.what(), Severity::error);
        return paragraph;
    }
    for (const std::string& fault : paragraph.faults()) {
        place.note("field", fault, Severity::error);
    }
    return paragraph;
}

std::optional<std::vector<Md5sum>> sumsOf(const ControlMember& md5sums, const Place& place) {
    try {
        return parseMd5sums(md5sums.contents, "md5sums");
    } catch (const StreamError& failure) {
        place.note("md5-syntax", failure.what(), Severity::error);
        return std::nullopt;
    }
}

/// Checks what the reader takes as it is and dpkg does not.
void checkMember(const ControlMember& member, const Place& place) {
    const std::string name = plainPath(member.entry.path);
    if (name.size() > kLongestName) {
        place.note("control-name",
                   "has a name of more than " + std::to_string(kLongestName) + " bytes, which dpkg refuses",
                   Severity::error);
    }
    // The faults of fields come from checkParagraph(), and those of conffiles from Conffiles.
    note(memberOddities(name, member.contents), place);
}

}  // namespace

ControlParagraph checkControlMembers(const std::vector<ControlMember>& members, const Place& control) {
    for (const ControlMember& member : members) {
        checkMember(member, control.at(member.entry.path));
    }
    // Not null: readControl() fails without it.
    const ControlMember& paragraph = *findMember(members, "control");
    return checkParagraph(paragraph, control.at(paragraph.entry.path));
}

void checkPayload(PackageStream& stream, const std::vector<ControlMember>& members, const Place& control,
                  const Place& payload, PayloadDepth depth, const std::function<void(const Entry&)>& onEntry) {
    PayloadCheck check(stream, payload, depth);
    if (const ControlMember* conffiles = findMember(members, "conffiles")) {
        check.expectConffiles(conffiles->contents, control);
    }
    const ControlMember* const md5sums = findMember(members, "md5sums");
    // Sums are compared only where the contents are read.
    if (md5sums != nullptr && depth == PayloadDepth::contents) {
        if (const auto sums = sumsOf(*md5sums, control.at(md5sums->entry.path))) {
            // The member's text outlives the check, which keeps views of it.
            check.expectDigests(*sums, control);
        }
    }
    check.run(onEntry);
}

}  // namespace bex::stream

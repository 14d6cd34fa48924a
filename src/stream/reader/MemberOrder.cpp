#include "stream/reader/MemberOrder.hpp"

#include <optional>
#include <string_view>

#include "stream/ar/ArFormat.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

namespace {

/// What follows "control.tar" or "data.tar" in a name that is one of these with a suffix or none.
std::optional<std::string_view> suffixAfter(std::string_view name, std::string_view stem) {
    if (name.substr(0, stem.size()) != stem) {
        return std::nullopt;
    }
    const std::string_view suffix = name.substr(stem.size());
    // "control.tarball" is another member: only nothing or a suffix may follow.
    if (!suffix.empty() && suffix.front() != '.') {
        return std::nullopt;
    }
    return suffix;
}

std::optional<Compression> compressionOf(std::string_view suffix) {
    for (const Compression compression :
         {Compression::none, Compression::gzip, Compression::xz, Compression::zstd, Compression::bzip2}) {
        if (suffix == suffixOf(compression)) {
            return compression;
        }
    }
    return std::nullopt;
}

}  // namespace

void failMissing(const Place& place, MemberRole role) {
    const char* const name = role == MemberRole::control ? "control" : "data";
    place.fail(ErrorKind::damaged, "member-missing", std::string("no ") + name + " member");
}

MemberRole MemberOrder::place(Member& member) {
    // Before the name is inserted.
    const bool first = names_.empty();
    if (first && member.name != kFormatVersionMember) {
        // Reported, and the member is then judged as any other: verify() goes on.
        place_.in(member.name)
            .refuse(ErrorKind::damaged, "member-order", "is the first member, but \"debian-binary\" must be");
    }
    // A package has a handful of members, so that a set of their names stays small; ArReader bounds each name.
    if (!names_.insert(member.name).second) {  // guard: a member's name twice
        place_.in(member.name).refuse(ErrorKind::damaged, "member-doubled", "occurs twice");
        return MemberRole::passedOver;
    }
    const MemberRole role = roleOf(member);
    // Without a role the reader skips the member, but its name is taken all the same.
    if (!serves(member, role, first)) {
        return MemberRole::passedOver;
    }
    return role;
}

/// Whether the member is the one that the package needs in its role.
bool MemberOrder::serves(const Member& member, MemberRole role, bool first) {
    switch (role) {
        case MemberRole::formatVersion:
            return first;
        case MemberRole::control:
            return checkControl(member);
        case MemberRole::data:
            return checkData(member);
        case MemberRole::passedOver:
            checkUnknown(member);
            break;
    }
    return false;
}

MemberRole MemberOrder::roleOf(Member& member) const {
    if (member.name == kFormatVersionMember) {
        return MemberRole::formatVersion;
    }
    MemberRole role = MemberRole::control;
    // Both stems are compared before anything is said of the compression: an unknown suffix is an error only for a
    // member that the package needs.
    std::optional<std::string_view> suffix = suffixAfter(member.name, "control.tar");
    if (!suffix) {
        role = MemberRole::data;
        suffix = suffixAfter(member.name, "data.tar");
    }
    if (!suffix) {
        return MemberRole::passedOver;
    }
    const std::optional<Compression> compression = compressionOf(*suffix);
    if (!compression) {
        place_.in(member.name)
            .fail(ErrorKind::unsupported, "member-compression",
                  "compression " + quotedName(*suffix) + " is not supported");
    }
    member.compression = *compression;
    return role;
}

bool MemberOrder::checkControl(const Member& member) {
    const Place at = place_.in(member.name);
    if (!control_.empty()) {  // guard: a second control member
        at.refuse(ErrorKind::damaged, "member-second", "a second control member, after " + quotedName(control_));
        return false;
    }
    // Reported, but the member is taken: its contents can still be judged.
    if (!data_.empty()) {
        at.refuse(ErrorKind::damaged, "member-order", "comes after " + quotedName(data_));
    }
    if (member.compression == Compression::bzip2) {
        at.note("member-compression", "dpkg-deb does not read a control member compressed with bzip2",
                Severity::error);
    }
    // Names also say which members there were: empty means none yet.
    control_ = member.name;
    return true;
}

bool MemberOrder::checkData(const Member& member) {
    const Place at = place_.in(member.name);
    if (!data_.empty()) {
        at.refuse(ErrorKind::damaged, "member-second", "a second data member, after " + quotedName(data_));
        return false;
    }
    if (control_.empty()) {  // guard: data before control
        at.refuse(ErrorKind::damaged, "member-order", "is before the control member");
    }
    data_ = member.name;
    return true;
}

void MemberOrder::checkUnknown(const Member& member) const {
    // deb(5): readers ignore members whose names begin with an underscore. No name is empty: ArReader refuses
    // that.
    if (member.name.front() == '_') {
        return;
    }
    const Place at = place_.in(member.name);
    if (data_.empty()) {
        at.refuse(ErrorKind::unsupported, "member-unknown", "is before the data member and is unknown");
    } else {
        at.note("member-unknown", "is unknown, and no reader uses it");
    }
}

void MemberOrder::end() const {
    // Thrown, not refused: without these three there is nothing to read on with.
    if (names_.count(std::string(kFormatVersionMember)) == 0) {
        place_.fail(ErrorKind::damaged, "member-missing", "no member \"debian-binary\"");
    }
    if (control_.empty()) {
        failMissing(place_, MemberRole::control);
    }
    if (data_.empty()) {
        failMissing(place_, MemberRole::data);
    }
}

}  // namespace bex::stream

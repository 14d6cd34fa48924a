#include "stream/reader/PackageMembers.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "stream/ar/ArFormat.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

/// deb(5): the major version is 2; the minor one, and lines after the first, may be anything.
bool isFormatVersion2(std::string_view text) {
    const std::string_view line = firstLine(text);
    // A newline is required (the line must be shorter than the text), and a digit after "2.".
    return line.size() < text.size() && line.size() > 2 && startsWith(line, "2.") &&
           consistsOf(line.substr(2), isDigit);
}

}  // namespace

PackageMembers::PackageMembers(OpenInput input, Place place)
    : input_(std::move(input)), place_(std::move(place)), reader_(*input_.stream, place_), order_(place_) {}

void PackageMembers::check(bool controlFollows) {
    if (seekable()) {
        announcesControl_ = controlFollows;
        finish();
    }
}

void PackageMembers::finish() {
    // Until the end of the archive; advance() throws for what is wrong.
    while (advance()) {
    }
}

const Member* PackageMembers::find(MemberRole role) const noexcept {
    const auto found = std::find(roles_.begin(), roles_.end(), role);
    if (found == roles_.end()) {
        return nullptr;
    }
    return &members_[static_cast<std::size_t>(found - roles_.begin())];
}

const Member& PackageMembers::open(MemberRole role) {
    // Seekable: check() has walked through all members.
    if (const Member* const member = find(role); seekable() && member != nullptr) {
        again_ = streamOf(input_.source, member->offset);
        // Made in this order and kept in members: the window reads from the stream, and contents_ points to the
        // window.
        contents_ = &window_.emplace(*again_, member->size, place_.in(member->name));
        return *member;
    }
    // If the walk failed earlier, throw that failure: it explains why the member is missing.
    while ((!seekable() || failure_) && advance()) {
        // In a pipe the walk goes on from where it is: a member that was passed cannot be read again.
        if (roles_.back() == role) {
            contents_ = &reader_.contents();
            return members_.back();
        }
    }
    failMissing(place_, role);
}

void PackageMembers::announce(const Member& member, std::size_t more) {
    if (seekable()) {
        input_.source->willRead({{member.offset, member.size + more}});
    }
}

bool PackageMembers::readNext() {
    std::optional<Member> member = reader_.next(order_.complete());
    if (!member) {
        order_.end();
        return false;
    }
    const MemberRole role = order_.place(*member);
    // Both at once: roles_ has the same indexes as members_.
    members_.push_back(std::move(*member));
    roles_.push_back(role);
    if (role == MemberRole::formatVersion) {
        // Now, because in a pipe the contents are gone with the next header.
        checkFormatVersion();
    }
    if (role == MemberRole::control && announcesControl_) {
        // With the next header, which is read first: a source that is far away fetches both at once.
        announce(members_.back(), members_.back().size % 2 + kArHeaderBytes);
    }
    return true;
}

void PackageMembers::checkFormatVersion() {
    std::array<char, 64> text{};
    // 64 bytes are enough for any version; what follows its first line may be anything.
    const std::size_t size = readFully(reader_.contents(), text.data(), text.size());
    if (!isFormatVersion2({text.data(), size})) {  // guard: the format's version
        place_.in(members_.back().name)
            .refuse(ErrorKind::unsupported, "format-version",
                    "format version " + quotedName({text.data(), std::min<std::size_t>(size, 16)}) +
                        " is not supported; 2.0 is");
    }
}

}  // namespace bex::stream

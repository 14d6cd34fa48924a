#include "stream/reader/PackageMembers.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include "stream/base/Place.hpp"

namespace bex::stream {

namespace {

/// deb(5): the major version is 2; the minor one, and lines after the first, may be anything.
bool isFormatVersion2(std::string_view text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    const std::string_view digits = "0123456789";
    return line.size() < text.size() && line.size() > 2 && line.substr(0, 2) == "2." &&
           line.find_first_not_of(digits, 2) == std::string_view::npos;
}

}  // namespace

PackageMembers::PackageMembers(OpenInput input, Place place)
    : input_(std::move(input)), place_(std::move(place)), reader_(*input_.stream, place_), order_(place_) {}

PackageMembers::~PackageMembers() = default;

void PackageMembers::check() {
    if (seekable()) {
        finish();
    }
}

void PackageMembers::finish() {
    while (advance()) {
    }
}

const Member& PackageMembers::open(MemberRole role) {
    const auto found = std::find(roles_.begin(), roles_.end(), role);
    if (seekable() && found != roles_.end()) {
        return openAgain(static_cast<std::size_t>(found - roles_.begin()));
    }
    // If the walk failed earlier, throw that failure: it explains why the member is missing.
    while ((!seekable() || failure_) && advance()) {
        if (roles_.back() == role) {
            contents_ = &reader_.contents();
            return members_.back();
        }
    }
    failMissing(place_, role);
}

const Member& PackageMembers::openAgain(std::size_t index) {
    const Member& member = members_[index];
    again_ = streamOf(input_.source, member.offset);
    window_ = std::make_unique<MemberStream>(*again_, member.size, place_.in(member.name));
    contents_ = window_.get();
    return member;
}

bool PackageMembers::advance() {
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    try {
        return readNext();
    } catch (...) {
        failure_ = std::current_exception();
        throw;
    }
}

bool PackageMembers::readNext() {
    std::optional<Member> member = reader_.next(order_.complete());
    if (!member) {
        order_.end();
        return false;
    }
    const MemberRole role = order_.place(*member);
    members_.push_back(std::move(*member));
    roles_.push_back(role);
    if (role == MemberRole::formatVersion) {
        checkFormatVersion();
    }
    return true;
}

void PackageMembers::checkFormatVersion() {
    std::array<char, 64> text{};
    const std::size_t size = readFully(reader_.contents(), text.data(), text.size());
    if (!isFormatVersion2({text.data(), size})) {  // guard: the format's version
        place_.in(members_.back().name)
            .refuse(ErrorKind::unsupported, "format-version",
                    "format version " + quotedName({text.data(), std::min<std::size_t>(size, 16)}) +
                        " is not supported; 2.0 is");
    }
}

}  // namespace bex::stream

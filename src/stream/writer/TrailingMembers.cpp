#include "stream/writer/TrailingMembers.hpp"

#include <algorithm>
#include <cstdint>
#include <set>

#include "stream/ar/ArFormat.hpp"

namespace bex::stream {

namespace {

constexpr std::string_view kNameCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
constexpr std::size_t kLongestName = 16;  // bytes; the header of a member has no room for more

/// deb(5): readers ignore a member whose name begins with an underscore.
bool isUsable(std::string_view name) {
    return name.size() > 1 && name.size() <= kLongestName && name.front() == '_' &&
           name.find_first_not_of(kNameCharacters) == std::string_view::npos;
}

/// Whether the source has these bytes at `offset`.
bool hasAt(Source& source, std::uint64_t offset, std::string_view bytes) {
    std::string buffer(bytes.size(), '\0');
    while (!bytes.empty()) {
        const std::size_t count = source.readAt(offset, buffer.data(), bytes.size());
        if (count == 0 || bytes.substr(0, count) != std::string_view(buffer.data(), count)) {
            return false;
        }
        bytes.remove_prefix(count);
        offset += count;
    }
    return true;
}

}  // namespace

MemberMaker::~MemberMaker() = default;

void MemberMaker::beginMember(const std::string& /*name*/, std::uint64_t /*bytes*/) {}

TrailingMembers::TrailingMembers(const std::vector<TrailingMember>& wanted) : wanted_(wanted) {
    std::set<std::string_view> names;
    for (const TrailingMember& member : wanted) {
        const Place at = Place("").in(member.name);
        if (!isUsable(member.name)) {
            at.fail(ErrorKind::invalidInput,
                    "a trailing member's name is \"_\" and 1 to 15 letters, digits, dots, hyphens or underscores");
        }
        // Readers refuse a package with two members of one name.
        if (!names.insert(member.name).second) {
            at.fail(ErrorKind::invalidInput, "is given twice");
        }
    }
}

void TrailingMembers::begin() {
    for (const TrailingMember& member : wanted_) {
        makers_.push_back(member.begin());
    }
}

void TrailingMembers::beginMember(const std::string& name, std::uint64_t bytes) {
    for (const auto& maker : makers_) {
        maker->beginMember(name, bytes);
    }
}

void TrailingMembers::take(std::string_view piece) {
    for (const auto& maker : makers_) {
        maker->write(piece.data(), piece.size());
    }
}

void TrailingMembers::finish() {
    for (const auto& maker : makers_) {
        contents_.push_back(maker->finish());
    }
    makers_.clear();
}

void TrailingMembers::appendTo(ArWriter& package, std::int64_t mtime) const {
    for (std::size_t i = 0; i < contents_.size(); ++i) {
        package.addMember(wanted_[i].name, contents_[i], mtime);
    }
}

void TrailingMembers::compare(Source& package, const Place& place) const {
    std::uint64_t end = package.size();
    // From the last one back: the place of the first depends on the lengths of all.
    for (std::size_t i = contents_.size(); i-- > 0;) {
        const std::string& contents = contents_[i];
        end -= std::min<std::uint64_t>(end, contents.size() + contents.size() % 2);
        if (!hasAt(package, end, contents)) {
            place.in(wanted_[i].name).fail(ErrorKind::damaged, "differs", "differs from its source");
        }
        end -= std::min<std::uint64_t>(end, kArHeaderBytes);
    }
}

}  // namespace bex::stream

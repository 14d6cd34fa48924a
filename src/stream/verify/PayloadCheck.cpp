#include "stream/verify/PayloadCheck.hpp"

#include <algorithm>
#include <climits>

#include "bex/stream/Escape.hpp"
#include "stream/base/Text.hpp"
#include "stream/control/Md5.hpp"

namespace bex::stream {

namespace {

/// Whether a terminal shows the text as it is. Backslashes, which escapeForDisplay() doubles, do no harm.
bool isPlainText(std::string text) {
    std::replace(text.begin(), text.end(), '\\', '/');
    return escapeForDisplay(text) == text;
}

/// Whether the name begins as an absolute one does on other systems; bsdtar cuts that off.
bool hasForeignRoot(const std::string& name) {
    const bool letter =
        !name.empty() && ((name[0] >= 'a' && name[0] <= 'z') || (name[0] >= 'A' && name[0] <= 'Z'));
    return name[0] == '\\' || (letter && name[1] == ':');
}

/// dpkg unpacks a file under its path with up to 9 more bytes, such as ".dpkg-new", which the system must accept.
bool isLongForDpkg(std::string_view plain) {
    constexpr std::size_t kAdded = 9;
    bool isLong = plain.size() + 1 + kAdded >= PATH_MAX;
    forEachPart(plain, '/', [&](std::string_view name) {
        // What is longer than NAME_MAX is refused by itself.
        isLong = isLong || (name.size() + kAdded > NAME_MAX && name.size() <= NAME_MAX);
    });
    return isLong;
}

}  // namespace

void PayloadCheck::expectConffiles(std::string_view text, const Place& control) {
    conffiles_.emplace(text, control);
}

void PayloadCheck::expectDigests(const std::vector<Md5sum>& sums, const Place& control) {
    digests_.emplace(sums, control, place_);
}

void PayloadCheck::run(const std::function<void(const Entry&)>& onEntry) {
    Entry entry;
    while (stream_.next(entry)) {
        check(entry);
        if (onEntry) {
            onEntry(entry);
        }
    }
    if (conffiles_) {
        conffiles_->finish();
    }
    if (digests_) {
        digests_->finish();
    }
}

/// What this reader accepts and dpkg does not.
void PayloadCheck::checkForDpkg(const Entry& entry) const {
    const Place place = place_.at(entry.path);
    if (stream_.lacksParent()) {
        place.note("parent-missing", "comes before an entry for its directory; dpkg then cannot create it",
                   Severity::error);
    }
    if (isLongForDpkg(stream_.path())) {
        place.note("path-long", "has a name that is too long for dpkg", Severity::error);
    }
    if (entry.path.find('\n') != std::string::npos) {
        place.note("path-newline", "has a name with a newline, which dpkg refuses", Severity::error);
    }
}

void PayloadCheck::check(const Entry& entry) {
    checkForDpkg(entry);
    if (!isPlainText(entry.path) || !isPlainText(entry.linkTarget)) {
        place_.at(entry.path).note("path-characters", "has a name or target that programs show differently");
    }
    if (hasForeignRoot(entry.path) || (entry.type == EntryType::hardlink && hasForeignRoot(entry.linkTarget))) {
        place_.at(entry.path).note("path-drive", "begins with a backslash or a drive, which bsdtar cuts off");
    }
    if (!isPlainText(entry.owner) || !isPlainText(entry.group)) {
        place_.at(entry.path).note("owner-characters", "has an owner or group that programs show differently");
    }
    const std::string& path = stream_.path();
    if (conffiles_) {
        conffiles_->take(entry, path);
    }
    if (depth_ == PayloadDepth::contents) {
        checkDigest(entry, path);
    }
}

void PayloadCheck::checkDigest(const Entry& entry, const std::string& path) {
    const bool listedElsewhere = conffiles_ && conffiles_->contains(path);
    if (entry.type == EntryType::file) {
        const std::string digest = readAll(digests_.has_value());
        if (digests_) {
            digests_->takeFile(entry, path, digest, listedElsewhere);
        }
    } else if (entry.type == EntryType::hardlink && digests_) {
        digests_->takeHardLink(entry, path, plainPath(entry.linkTarget), listedElsewhere);
    }
}

/// Reads the contents, so that every block's checksum is checked, and gives their MD5 sum if it is wanted.
std::string PayloadCheck::readAll(bool digest) {
    Md5 sum;
    for (std::string_view bytes = stream_.read(); !bytes.empty(); bytes = stream_.read()) {
        if (digest) {
            sum.update(bytes.data(), bytes.size());
        }
    }
    if (!digest) {
        return {};
    }
    return sum.hexDigest();
}

}  // namespace bex::stream

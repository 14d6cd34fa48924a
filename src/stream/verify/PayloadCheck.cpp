#include "stream/verify/PayloadCheck.hpp"

#include <algorithm>
#include <array>

#include "bex/stream/Escape.hpp"
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

void addZeros(Md5& sum, std::uint64_t count) {
    static constexpr std::array<char, 4096> kZeros{};
    while (count != 0) {
        const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(count, kZeros.size()));
        sum.update(kZeros.data(), part);
        count -= part;
    }
}

}  // namespace

void PayloadCheck::expectConffiles(std::string_view text, const Place& control) {
    conffiles_.emplace(text, control);
}

void PayloadCheck::expectDigests(const std::vector<Md5sum>& sums, const Place& control) {
    digests_.emplace(sums, control, place_);
}

void PayloadCheck::run() {
    Entry entry;
    while (stream_.next(entry)) {
        check(entry);
    }
    if (conffiles_) {
        conffiles_->finish();
    }
    if (digests_) {
        digests_->finish();
    }
}

void PayloadCheck::check(const Entry& entry) {
    if (!isPlainText(entry.path) || !isPlainText(entry.linkTarget)) {
        place_.at(entry.path).note("path-characters", "has a name or target that programs show differently");
    }
    if (hasForeignRoot(entry.path) || (entry.type == EntryType::hardlink && hasForeignRoot(entry.linkTarget))) {
        place_.at(entry.path).note("path-drive", "begins with a backslash or a drive, which bsdtar cuts off");
    }
    if (!isPlainText(entry.owner) || !isPlainText(entry.group)) {
        place_.at(entry.path).note("owner-characters", "has an owner or group that programs show differently");
    }
    const std::string path = plainPath(entry.path);
    if (conffiles_) {
        conffiles_->take(entry, path);
    }
    checkDigest(entry, path);
}

void PayloadCheck::checkDigest(const Entry& entry, const std::string& path) {
    const bool listedElsewhere = conffiles_ && conffiles_->contains(path);
    if (entry.type == EntryType::file) {
        const std::string digest = readAll(entry, digests_.has_value());
        if (digests_) {
            digests_->takeFile(entry, path, digest, listedElsewhere);
        }
    } else if (entry.type == EntryType::hardlink && digests_) {
        digests_->takeHardLink(entry, path, plainPath(entry.linkTarget), listedElsewhere);
    }
}

/// Reads the contents, so that every block's checksum is checked, and gives their MD5 sum if it is wanted.
std::string PayloadCheck::readAll(const Entry& entry, bool digest) {
    Md5 sum;
    std::uint64_t position = 0;
    EntryReader::Run run;
    while (stream_.nextRun(run)) {
        if (digest) {
            addZeros(sum, run.offset - position);
            sum.update(run.bytes.data(), run.bytes.size());
        }
        position = run.offset + run.bytes.size();
    }
    if (!digest) {
        return {};
    }
    addZeros(sum, entry.size - position);
    return sum.hexDigest();
}

}  // namespace bex::stream

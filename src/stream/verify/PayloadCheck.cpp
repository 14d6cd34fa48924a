#include "stream/verify/PayloadCheck.hpp"

#include <algorithm>
#include <climits>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "stream/base/Text.hpp"
#include "stream/control/Md5.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kMostAwaited = 4096;

/// Whether a terminal shows the text as it is. Backslashes, which escapeForDisplay() doubles, do no harm.
bool isPlainText(const std::string& text) {
    const auto isPrintable = [](char c) { return c >= 0x20 && c < 0x7F; };
    if (std::all_of(text.begin(), text.end(), isPrintable)) {
        return true;  // as nearly all are
    }
    std::string slashes = text;
    std::replace(slashes.begin(), slashes.end(), '\\', '/');
    return escapeForDisplay(slashes) == slashes;
}

/// Whether the name begins as an absolute one does on other systems; bsdtar cuts that off.
bool hasForeignRoot(const std::string& name) {
    const bool letter =
        !name.empty() && ((name[0] >= 'a' && name[0] <= 'z') || (name[0] >= 'A' && name[0] <= 'Z'));
    // name[0] of an empty string is the NUL, and name[1] is looked at only after a letter.
    return name[0] == '\\' || (letter && name[1] == ':');
}

/// dpkg unpacks a file under its path with up to 9 more bytes, such as ".dpkg-new", which the system must accept.
bool isLongForDpkg(std::string_view plain) {
    constexpr std::size_t kAdded = 9;
    // The slash before the path counts as well, and the NUL at the end (PATH_MAX includes it).
    bool isLong = plain.size() + 1 + kAdded >= PATH_MAX;
    forEachPart(plain, '/', [&](std::string_view name) {
        // What is longer than NAME_MAX is refused by itself.
        isLong = isLong || (name.size() + kAdded > NAME_MAX && name.size() <= NAME_MAX);
    });
    return isLong;
}

}  // namespace

PayloadCheck::PayloadCheck(PackageStream& stream, Place place, PayloadDepth depth)
    : stream_(stream),
      place_(std::move(place)),
      depth_(depth),
      sums_(stream.threads(), [this](std::string_view digest) { takeSum(digest); }) {
    // Everything that goes to the handler waits until the sums of earlier entries have been reported.
    place_.handler()->reportFirst([this] { settle(); });
}

void PayloadCheck::expectConffiles(std::string_view text, const Place& control) {
    conffiles_.emplace(text, control);
}

void PayloadCheck::expectDigests(const std::vector<Md5sum>& sums, const Place& control) {
    digests_.emplace(sums, control, place_);
}

void PayloadCheck::run(const std::function<void(const Entry&)>& onEntry) {
    try {
        Entry entry;
        while (stream_.next(entry)) {
            // In the order of the entries, before `onEntry`, whose caller may act on the entry.
            check(entry);
            if (onEntry) {
                onEntry(entry);
            }
        }
        settle();
    } catch (const StreamError&) {
        settle();  // what stands before the error comes before it
        throw;
    }
    // Only after a complete payload: entries that were not read would be reported as missing.
    if (conffiles_) {
        conffiles_->finish();
    }
    if (digests_) {
        digests_->finish();
    }
}

/// What this reader accepts and dpkg does not.
void PayloadCheck::checkForDpkg(const Entry& entry) const {
    if (stream_.lacksParent()) {
        place_.at(entry.path)
            .note("parent-missing", "comes before an entry for its directory; dpkg then cannot create it",
                  Severity::error);
    }
    if (isLongForDpkg(stream_.path())) {
        place_.at(entry.path).note("path-long", "has a name that is too long for dpkg", Severity::error);
    }
    if (entry.path.find('\n') != std::string::npos) {
        place_.at(entry.path)
            .note("path-newline", "has a name with a newline, which dpkg refuses", Severity::error);
    }
}

void PayloadCheck::check(const Entry& entry) {
    checkForDpkg(entry);
    if (!isPlainText(entry.path) || !isPlainText(entry.linkTarget)) {
        place_.at(entry.path).note("path-characters", "has a name or target that programs show differently");
    }
    if (hasForeignRoot(entry.path) || (entry.type == EntryType::hardlink && hasForeignRoot(entry.linkTarget))) {
        place_.at(entry.path).note("path-drive", "begins with a backslash or a drive, which bsdtar removes");
    }
    if (!isPlainText(entry.owner) || !isPlainText(entry.group)) {
        place_.at(entry.path).note("owner-characters", "has an owner or group that programs show differently");
    }
    if (conffiles_) {
        conffiles_->take(entry, stream_.path());
    }
    if (depth_ == PayloadDepth::contents) {
        // Reads the contents: the checks above need only the header.
        checkDigest(entry);
    }
}

void PayloadCheck::checkDigest(const Entry& entry) {
    const bool file = entry.type == EntryType::file;
    if (digests_ && (file || entry.type == EntryType::hardlink)) {
        const std::string& path = stream_.path();
        Digests::Name name{entry.path, path, conffiles_ && conffiles_->contains(path)};
        if (file) {
            // Before its contents are read: takeSum() may be called while that goes on.
            awaited_.push_back({std::move(name), std::nullopt});
        } else {
            takeHardLink({std::move(name), plainPath(entry.linkTarget)});
        }
    }
    if (file) {
        readAll();
    }
}

/// Reads the contents, so that every block's checksum is checked, and has them summed if their sum is wanted.
void PayloadCheck::readAll() {
    if (!digests_) {
        while (!stream_.read().empty()) {
        }
        return;
    }
    for (Piece piece = stream_.readToKeep(); !piece.bytes.empty(); piece = stream_.readToKeep()) {
        sums_.add(std::move(piece));
    }
    sums_.endFile();
}

void PayloadCheck::takeHardLink(Awaited link) {
    // A million links to one small file must not fill memory.
    if (awaited_.size() >= kMostAwaited) {
        settle();
    }
    // All files before it have been reported, so that its target's sum is known.
    if (awaited_.empty()) {
        digests_->takeHardLink(link.name, *link.target);
    } else {
        awaited_.push_back(std::move(link));
    }
}

/// Holds the sum of the first file awaited, and the hard links behind it, against the list.
void PayloadCheck::takeSum(std::string_view digest) {
    taking_ = true;
    // Not empty: FileSums gives one sum for each file, and a file was added before it.
    const Awaited file = std::move(awaited_.front());
    awaited_.pop_front();
    digests_->takeFile(file.name, digest);
    // Links behind the file follow it in the order of the entries.
    while (!awaited_.empty() && awaited_.front().target) {
        const Awaited link = std::move(awaited_.front());
        awaited_.pop_front();
        digests_->takeHardLink(link.name, *link.target);
    }
    // An exception leaves it set: after that nothing more is reported.
    taking_ = false;
}

/// Has all sums of the files before this point reported.
void PayloadCheck::settle() {
    // Reporting may ask for earlier reports again; the sums are then being taken already.
    if (!taking_) {
        sums_.finish();
    }
}

}  // namespace bex::stream

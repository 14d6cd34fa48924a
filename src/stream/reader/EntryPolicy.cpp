#include "stream/reader/EntryPolicy.hpp"

#include <climits>
#include <limits>
#include <string_view>

#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

/// 0000-01-01 to 9999-12-31: what calendars, and programs that print a time, can express.
constexpr std::int64_t kEarliestTime = -62167219200;
constexpr std::int64_t kLatestTime = 253402300799;

/// The largest id that is one: -1 stands for "leave it as it is".
constexpr std::uint64_t kLargestId = std::numeric_limits<std::uint32_t>::max() - 1;

/// A system looks for a directory of that name.
bool meansDirectory(std::string_view path) {
    const std::string_view last = path.substr(path.rfind('/') + 1);  // npos + 1 is 0: all of it
    return last.empty() || last == ".";
}

bool isAbsolute(std::string_view path) {
    return !path.empty() && path.front() == '/';
}

bool hasLongComponent(std::string_view path) {
    return !forEachComponent(path, [](std::string_view name) { return name.size() <= NAME_MAX; });
}

PathTable::Kind kindOf(EntryType type) {
    switch (type) {
        case EntryType::directory:
            return PathTable::Kind::directory;
        case EntryType::symlink:
            return PathTable::Kind::symlink;
        default:
            return PathTable::Kind::file;  // a hard link is one, and what else there is has been refused
    }
}

}  // namespace

const char* EntryPolicy::specialWordOf(EntryType type, const char* other) noexcept {
    switch (type) {
        case EntryType::characterDevice:
        case EntryType::blockDevice:
            return "a device";
        case EntryType::fifo:
            return "a FIFO";
        case EntryType::other:
            return other;
        default:
            return nullptr;
    }
}

void EntryPolicy::check(const Entry& entry) {
    checkLimits(entry);
    const char* refused = specialWordOf(entry.type, "an entry of unknown type");
    if (refused != nullptr) {  // guard: devices and FIFOs
        refuse("entry-type", std::string("is ") + refused, entry);
    }
    checkAttributes(entry);
    path_ = plainPath(entry.path);
    lacksParent_ = false;
    // Only what is sound gets a place in the tree: later entries are judged as if the others were not there.
    if (checkPath(entry) && checkLink(entry) && refused == nullptr) {
        place(entry);
    }
}

void EntryPolicy::checkLimits(const Entry& entry) {
    // Both are bounded: a few entries with deep paths would otherwise need memory for millions of directories.
    if (++entries_ > limits_.entries ||     // guard: the number of entries
        paths_.size() > limits_.entries) {  // guard: the number of directories above them
        place_.failLimit("entries", "more than " + std::to_string(limits_.entries) +
                                        " entries and directories above them (the limit entries)");
    }
    // Before the name is split: all that follows costs time by its length.
    for (const std::string* name : {&entry.path, &entry.linkTarget}) {
        if (name->size() > limits_.nameBytes) {  // guard: lengths of names
            place_.failLimit("nameBytes", "name or link target of " + std::to_string(name->size()) +
                                              " bytes; the limit nameBytes allows " +
                                              std::to_string(limits_.nameBytes));
        }
    }
}

bool EntryPolicy::checkPath(const Entry& entry) const {
    if (isAbsolute(entry.path)) {  // guard: absolute names
        refuse("path-absolute", "is absolute", entry);
    } else if (hasParentComponent(entry.path)) {  // guard: .. in a name
        refuse("path-parent", "contains \"..\"", entry);
    } else if (path_.empty() && entry.type != EntryType::directory) {  // guard: the root as no directory
        refuse("path-empty", "names the package's root, but is not a directory", entry);
        // guard: / at the end of what is not a directory
    } else if (entry.type != EntryType::directory && meansDirectory(entry.path)) {
        const char* end = entry.path.back() == '/' ? "/" : "/.";
        refuse("path-slash", std::string("ends with \"") + end + "\", but is not a directory", entry);
        // guard: components of more than 255 bytes
    } else if (path_.size() > NAME_MAX && hasLongComponent(path_)) {
        refuse("path-component", "has a component of more than " + std::to_string(NAME_MAX) + " bytes", entry);
    } else {
        return true;
    }
    return false;
}

bool EntryPolicy::checkLink(const Entry& entry) const {
    const std::string& target = entry.linkTarget;
    const bool isSymlink = entry.type == EntryType::symlink;
    const bool isHardLink = entry.type == EntryType::hardlink;
    if (isSymlink && target.empty()) {
        refuse("link-target", "is a symlink without a target", entry);
    } else if (isSymlink && target.size() >= PATH_MAX) {
        // Linux refuses such a target only while extracting, when other entries are made already.
        refuse("link-target",
               "is a symlink with a target of " + std::to_string(target.size()) + " bytes, more than " +
                   std::to_string(PATH_MAX - 1),
               entry);
        // guard: hard links that lead out
    } else if (isHardLink && (isAbsolute(target) || hasParentComponent(target))) {
        refuse("hardlink-target", "is a hard link to " + quotedName(target) + ", which leads out of the package",
               entry);
        // The target must come earlier in the archive, because an extractor makes the link at once.
        // guard: hard links to no earlier file
    } else if (isHardLink && (meansDirectory(target) || !paths_.hasFile(plainPath(target)))) {
        refuse("hardlink-target",
               "is a hard link to " + quotedName(target) + ", which is not an earlier file of the package", entry);
    } else {
        return true;
    }
    return false;
}

void EntryPolicy::checkAttributes(const Entry& entry) const {
    if (entry.mtime < kEarliestTime || entry.mtime > kLatestTime) {  // guard: times that no calendar has
        refuse("time-range", "has a time that no calendar has: " + std::to_string(entry.mtime), entry);
    }
    // A negative number in the header has wrapped to a very large one, and is refused here as well.
    if (entry.uid > kLargestId || entry.gid > kLargestId) {  // guard: owners that mean leave it
        refuse("owner-range", "has an owner or group beyond " + std::to_string(kLargestId), entry);
    }
}

void EntryPolicy::place(const Entry& entry) {
    // Only for a path that checkPath() has accepted: the tree takes plain paths.
    if (path_.empty()) {
        return;  // the root
    }
    switch (paths_.add(path_, kindOf(entry.type))) {
        case PathTable::Outcome::doubled:
            refuse("path-doubled", "is in the package twice", entry);
            break;
        case PathTable::Outcome::belowNoDirectory:
            refuse("path-through", "is below an entry that is not a directory", entry);
            break;
        case PathTable::Outcome::repeatedDirectory:
            place_.at(entry.path)
                .note("directory-doubled", "occurs twice; readers differ in which mode and time it gets");
            break;
        case PathTable::Outcome::addedWithoutParent:
            lacksParent_ = true;
            break;
        case PathTable::Outcome::added:
            break;
    }
}

void EntryPolicy::refuse(const char* code, const std::string& reason, const Entry& entry) const {
    place_.at(entry.path).refuse(ErrorKind::refused, code, reason);
}

}  // namespace bex::stream

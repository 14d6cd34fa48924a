#include "stream/reader/ControlArchive.hpp"

#include <algorithm>

#include "stream/control/ParagraphParser.hpp"

namespace bex::stream {

namespace {

/// Taken at once for a member that says to be so long: growing would take as much again for a moment. Beyond the
/// default limit nobody's word is trusted.
constexpr std::uint64_t kReservedBytes = Limits().md5sumsBytes;

/// Whether the entry can be a control member; refused when not.
bool isMember(const Entry& entry, const std::string& name, const Place& place) {
    if (entry.type != EntryType::file) {  // guard: control members that are not plain files
        place.at(entry.path).refuse(ErrorKind::refused, "control-type", "is not a regular file");
        return false;
    }
    if (name.find('/') != std::string::npos) {  // guard: control members in directories
        place.at(entry.path)
            .refuse(ErrorKind::refused, "control-type", "is in a directory of the control archive");
        return false;
    }
    return true;
}

std::string contentsOf(EntryReader& entries, const Entry& entry) {
    std::string contents;
    contents.reserve(static_cast<std::size_t>(std::min(entry.size, kReservedBytes)));
    for (std::string_view bytes = entries.read(); !bytes.empty(); bytes = entries.read()) {
        contents += bytes;
    }
    return contents;
}

}  // namespace

ControlArchive readControlArchive(EntryReader& entries, const Limits& limits, const Place& place,
                                  bool controlFileOnly) {
    ControlArchive archive;
    std::vector<ControlMember>& members = archive.members;
    Entry entry;
    while (entries.next(entry)) {
        const std::string name = plainPath(entry.path);
        const bool isRoot = name.empty() && entry.type == EntryType::directory;
        if (isRoot && !archive.root) {
            archive.root = entry;
        }
        // A second member of a name has been refused already; where the reader goes on, the first one counts.
        if (!isRoot && isMember(entry, name, place) && findMember(members, name) == nullptr) {
            // Before its contents are read, which would otherwise count for the limit of the rest.
            if (name == "md5sums") {
                // guard(UINT64_MAX): md5sums' own limit
                entries.allow(std::min(entry.size, limits.md5sumsBytes));
            }
            members.push_back({entry, contentsOf(entries, entry)});
            // The rest of the archive is neither read nor checked.
            if (controlFileOnly && name == "control") {
                return archive;
            }
        }
    }
    if (findMember(members, "control") == nullptr) {
        place.fail(ErrorKind::damaged, "control-missing", "no file \"control\" in it");
    }
    return archive;
}

const ControlMember* findMember(const std::vector<ControlMember>& members, std::string_view name) {
    // Linear: a control archive has a dozen members, and their number is bounded by the limits of entries.
    const auto found = std::find_if(members.begin(), members.end(), [&](const ControlMember& member) {
        return plainPath(member.entry.path) == name;
    });
    if (found == members.end()) {
        return nullptr;
    }
    return &*found;
}

ControlParagraph parseControl(const std::vector<ControlMember>& members, const Place& package) {
    return parseParagraph(findMember(members, "control")->contents, package.at("control"));
}

}  // namespace bex::stream

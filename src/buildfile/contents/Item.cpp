#include "buildfile/contents/Item.hpp"

#include <tuple>

namespace bex::buildfile {

using stream::Attributes;
using stream::EntryType;

namespace {

// st_mode without the bits for the type of the file.
constexpr std::uint32_t kPermissions = 07777;

/// Sets only what the line gives: a refining line with an owner alone keeps the group.
void setOwner(const FileInfo& info, Attributes& attributes) {
    const stream::Ownership ownership = stream::ownershipOf(info.owner, info.group);
    if (!info.owner.empty()) {
        attributes.uid = ownership.uid;
        attributes.owner = ownership.owner;
    }
    if (!info.group.empty()) {
        attributes.gid = ownership.gid;
        attributes.group = ownership.group;
    }
}

void setTime(const FileInfo& info, Attributes& attributes) {
    if (info.mtime) {
        attributes.mtime = info.mtime;
    }
}

}  // namespace

Attributes attributesOnDisk(const Content& line, const stream::Entry& entry, std::uint32_t umask) {
    Attributes attributes;
    attributes.mode = entry.mode & kPermissions & ~umask;
    // The mode that a line gives is that of its files; directories of a tree keep theirs, or nobody could enter
    // them.
    if (entry.type != EntryType::directory || line.type == ContentType::directory) {
        attributes.mode = line.info.mode.value_or(attributes.mode);
    }
    attributes.mtime = line.info.mtime.value_or(entry.mtime);
    setOwner(line.info, attributes);
    return attributes;
}

Attributes attributesOfNew(const FileInfo& info, std::optional<std::int64_t> mtime) {
    Attributes attributes;
    attributes.mtime = mtime;
    setTime(info, attributes);
    setOwner(info, attributes);
    return attributes;
}

bool refineItem(Item& item, const Content& line) {
    if (line.isConfig && item.type != EntryType::file) {
        return false;
    }
    item.isConffile = item.isConffile || line.isConfig;
    item.attributes.mode = line.info.mode.value_or(item.attributes.mode);
    setTime(line.info, item.attributes);
    setOwner(line.info, item.attributes);
    return true;
}

bool hasNamedOwner(const Item& item) {
    // Owners by number, and root, exist on every system.
    const auto isNamed = [](const std::string& name) { return !name.empty() && name != "root"; };
    return isNamed(item.attributes.owner) || isNamed(item.attributes.group);
}

bool areOneFile(const Item& left, const Item& right) {
    // A hard link has the attributes of its first name, so they must agree to the last one.
    const auto tied = [](const Attributes& a) {
        return std::tie(a.mode, a.mtime, a.uid, a.gid, a.owner, a.group);
    };
    // Items of different lines are different files, or one replaced the other's.
    return left.at.line == right.at.line && tied(left.attributes) == tied(right.attributes);
}

}  // namespace bex::buildfile

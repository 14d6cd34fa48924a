#include "stream/extract/RestoredAttributes.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <string>

namespace bex::stream {

namespace {

/// The last number means "leave it" to the system.
std::uint32_t ownerNumber(std::uint64_t number, const char* what, const ExtractContext& context) {
    if (number >= UINT32_MAX) {
        context.place.fail(ErrorKind::refused, "destination",
                           std::string(what) + ' ' + std::to_string(number) + " is out of range");
    }
    return static_cast<std::uint32_t>(number);
}

std::array<timespec, 2> timesOf(const RestoredAttributes& attributes) {
    // The time of access is left alone: it is that of the extraction.
    return {{{0, UTIME_OMIT}, {attributes.mtime, 0}}};
}

bool changesOwner(const RestoredAttributes& attributes) {
    return attributes.uid != RestoredAttributes::kKeepOwner || attributes.gid != RestoredAttributes::kKeepGroup;
}

}  // namespace

RestoredAttributes attributesOf(const Entry& entry, const ExtractContext& context) {
    RestoredAttributes result;
    // guard(result.mode = entry.mode): set-id bits
    result.mode = entry.mode & (context.keepSetId ? 07777U : 01777U);
    result.mtime = entry.mtime;
    if (context.sameOwner) {  // guard(true): owners as stored
        result.uid = ownerNumber(entry.uid, "owner", context);
        result.gid = ownerNumber(entry.gid, "group", context);
    }
    return result;
}

void restore(const RestoredAttributes& attributes, int descriptor, const ExtractContext& context) {
    // The owner first: chown(2) clears set-user-ID and set-group-ID bits, which the mode then sets.
    if (changesOwner(attributes) && context.system.fchown(descriptor, attributes.uid, attributes.gid) != 0) {
        context.place.failSystem("set its owner", errno);
    }
    if (context.system.fchmod(descriptor, attributes.mode) != 0) {
        context.place.failSystem("set its mode", errno);
    }
    if (context.system.futimens(descriptor, timesOf(attributes).data()) != 0) {
        context.place.failSystem("set its time", errno);
    }
}

void restoreLink(const RestoredAttributes& attributes, int directory, const char* name,
                 const ExtractContext& context) {
    if (changesOwner(attributes) &&
        context.system.fchownat(directory, name, attributes.uid, attributes.gid, AT_SYMLINK_NOFOLLOW) != 0) {
        context.place.failSystem("set its owner", errno);
    }
    // A symlink has no mode of its own on Linux.
    if (context.system.utimensat(directory, name, timesOf(attributes).data(), AT_SYMLINK_NOFOLLOW) != 0) {
        context.place.failSystem("set its time", errno);
    }
}

}  // namespace bex::stream

#include "stream/writer/Notes.hpp"

#include <algorithm>
#include <utility>

#include "bex/stream/Limits.hpp"
#include "stream/base/Place.hpp"
#include "stream/reader/PackageStream.hpp"
#include "stream/tar/TarHeader.hpp"

namespace bex::stream {

namespace {

// dpkg unpacks every entry beside its place, under its name with ".dpkg-new" or ".dpkg-tmp" after it.
constexpr std::size_t kLongestDpkgName = 255 - 9;

/// The default limits: a reader that was given others does not depend on these notes.
constexpr Limits kLimits{};

std::string_view lastComponent(const std::string& stored) {
    std::string_view path = stored;
    // back() is safe: a stored path begins with "./".
    if (path.back() == '/') {
        path.remove_suffix(1);
    }
    return path.substr(path.rfind('/') + 1);
}

/// As it is in tar, at least: headers of long names are not counted.
std::uint64_t tarBytesOf(const std::map<std::string, std::string>& files) {
    std::uint64_t bytes = (1 + 2) * kTarBlockBytes;  // the root, and the end of the archive
    for (const auto& [name, contents] : files) {
        bytes += kTarBlockBytes + paddedToBlocks(contents.size());
    }
    return bytes;
}

}  // namespace

void Notes::add(const std::string& entry, const char* code, const char* limit, std::string reason) {
    ErrorRecord record = Place("").at(entry).record(ErrorKind::limitExceeded, code, std::move(reason));
    record.limit = limit;
    notes_.emplace_back(Severity::warning, std::move(record));
}

void Notes::addLimit(const std::string& entry, const char* limit, const std::string& what, std::uint64_t bytes) {
    add(entry, "limit", limit,
        "readers refuse " + what + " of more than " + std::to_string(bytes) + " bytes by default");
}

void Notes::takeOddities(const std::string& member, const std::vector<Oddity>& oddities) {
    for (const Oddity& oddity : oddities) {
        const ErrorRecord record =
            Place("").at(member).record(ErrorKind::invalidInput, oddity.code, oddity.reason);
        if (oddity.severity == Severity::error) {
            throw StreamError(record);
        }
        notes_.emplace_back(Severity::warning, record);
    }
}

void Notes::take(const Entry& entry) {
    // Every directory has an entry of its own, so that the last component is enough.
    if (lastComponent(entry.path).size() > kLongestDpkgName) {
        add(entry.path, "path-long", "",
            "dpkg cannot unpack a name of more than " + std::to_string(kLongestDpkgName) + " bytes");
    }
    // Equal, not greater: the note comes once.
    if (++entries_ == kLimits.entries + 1) {
        add("", "limit", "entries",
            "readers refuse more than " + std::to_string(kLimits.entries) + " entries by default");
    }
    if (entry.path.size() > kLimits.nameBytes) {
        addLimit(entry.path, "nameBytes", "a path", kLimits.nameBytes);
    }
}

void Notes::takePayload(std::uint64_t memberBytes, std::uint64_t tarBytes) {
    if (tarBytes > payloadLimit(kLimits, memberBytes)) {
        add("", "limit", "expansionRatio",
            "readers refuse a payload that expands to more than " + std::to_string(kLimits.expansionRatio) +
                " times its compressed size by default");
    }
}

void Notes::takeIndex(std::uint64_t bytes) {
    if (bytes > kLimits.indexBytes) {
        addLimit("", "indexBytes", "an index", kLimits.indexBytes);
    }
}

void Notes::takeControl(const std::map<std::string, std::string>& files) {
    std::uint64_t sums = 0;
    if (const auto found = files.find("md5sums"); found != files.end()) {
        sums = found->second.size();
    }
    if (sums > kLimits.md5sumsBytes) {
        addLimit("", "md5sumsBytes", "md5sums", kLimits.md5sumsBytes);
    }
    // md5sums has a limit of its own and counts for the rest only beyond that.
    if (tarBytesOf(files) - std::min(sums, kLimits.md5sumsBytes) > kLimits.controlBytes) {
        addLimit("", "controlBytes", "a control archive", kLimits.controlBytes);
    }
}

}  // namespace bex::stream

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

void Notes::take(const Entry& entry) {
    // Every directory has an entry of its own, so that the last component is enough.
    if (lastComponent(entry.path).size() > kLongestDpkgName) {
        add(entry.path, "path-long", "",
            "dpkg cannot unpack a name of more than " + std::to_string(kLongestDpkgName) + " bytes");
    }
    // The default limits: a reader that was given others does not depend on these notes.
    const Limits limits;
    // Equal, not greater: the note comes once.
    if (++entries_ == limits.entries + 1) {
        add("", "limit", "entries",
            "readers refuse more than " + std::to_string(limits.entries) + " entries by default");
    }
    if (entry.path.size() > limits.nameBytes) {
        add(entry.path, "limit", "nameBytes",
            "readers refuse a path of more than " + std::to_string(limits.nameBytes) + " bytes by default");
    }
}

void Notes::takePayload(std::uint64_t memberBytes, std::uint64_t tarBytes) {
    const Limits limits;
    if (tarBytes > payloadLimit(limits, memberBytes)) {
        add("", "limit", "expansionRatio",
            "readers refuse a payload that expands to more than " + std::to_string(limits.expansionRatio) +
                " times its compressed size by default");
    }
}

void Notes::takeIndex(std::uint64_t bytes) {
    const Limits limits;
    if (bytes > limits.indexBytes) {
        add("", "limit", "indexBytes",
            "readers refuse an index of more than " + std::to_string(limits.indexBytes) + " bytes by default");
    }
}

void Notes::takeControl(const std::map<std::string, std::string>& files) {
    const Limits limits;
    std::uint64_t sums = 0;
    if (const auto found = files.find("md5sums"); found != files.end()) {
        sums = found->second.size();
    }
    if (sums > limits.md5sumsBytes) {
        add("", "limit", "md5sumsBytes",
            "readers refuse md5sums of more than " + std::to_string(limits.md5sumsBytes) + " bytes by default");
    }
    // md5sums has a limit of its own and counts for the rest only beyond that.
    if (tarBytesOf(files) - std::min(sums, limits.md5sumsBytes) > limits.controlBytes) {
        add("", "limit", "controlBytes",
            "readers refuse a control archive of more than " + std::to_string(limits.controlBytes) +
                " bytes by default");
    }
}

}  // namespace bex::stream

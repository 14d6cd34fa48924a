#include "stream/writer/Comparison.hpp"

#include <algorithm>
#include <vector>

#include "stream/writer/ControlArchiveWriter.hpp"

namespace bex::stream {

namespace {

[[noreturn]] void fail(const Place& place, const std::string& reason) {
    place.fail(ErrorKind::damaged, "differs", reason);
}

/// The attribute in which the entry that was read differs; null when there is none.
const char* differenceOf(const Entry& meant, const Entry& found) {
    const struct {
        bool same;
        const char* what;
    } attributes[] = {
        {meant.path == found.path, "path"},
        {meant.type == found.type, "type"},
        {meant.mode == found.mode, "mode"},
        {meant.size == found.size, "size"},
        {meant.mtime == found.mtime, "time"},
        {meant.uid == found.uid && meant.gid == found.gid, "owner"},
        {meant.owner == found.owner && meant.group == found.group, "owner's name"},
        {meant.linkTarget == found.linkTarget, "link target"},
    };
    // The first difference is enough: nothing that was written is usable then.
    for (const auto& attribute : attributes) {
        if (!attribute.same) {
            return attribute.what;
        }
    }
    return nullptr;
}

void requireSame(const Place& place, const Entry& meant, const Entry& found) {
    if (const char* what = differenceOf(meant, found)) {
        fail(place, std::string("was written with another ") + what);
    }
}

}  // namespace

void Comparison::compareControl(const std::map<std::string, std::string>& files) {
    // Before the members are read, as PackageStream demands.
    package_.checkStructure();
    // The root directory comes first in the archive and is not a member; readControl() leaves it out.
    const std::vector<ControlMember> found = package_.readControl();
    std::size_t index = 0;
    // The map and the archive are both in the order of names.
    for (const auto& [name, contents] : files) {
        const Entry meant = controlEntryOf(name, contents.size(), plan_.commonTime());
        // Before `found[index]` is used.
        if (index == found.size()) {
            fail(placeOf(meant), "is missing in the written package");
        }
        requireSame(placeOf(meant), meant, found[index].entry);
        if (found[index].contents != contents) {
            fail(placeOf(meant), "differs from its source");
        }
        ++index;
    }
    if (index != found.size()) {
        fail(placeOf(found[index].entry), "was written, but not planned");
    }
}

void Comparison::comparePayload(FileReader& sources, ProgressMeter& meter) {
    Entry found;
    for (std::size_t i = 0; i < plan_.size(); ++i) {
        const Entry meant = plan_.entry(i);
        // Entries come in the order of the plan, so that the first difference is where both part.
        if (!package_.next(found)) {
            fail(placeOf(meant), "is missing in the written package");
        }
        requireSame(placeOf(meant), meant, found);
        // What is left of an entry before belongs to nobody: next() has skipped it.
        read_ = {};
        if (meant.type == EntryType::file) {
            const auto compare = [&](std::string_view piece) {
                compareBytes(meant, piece);
                meter.add(piece.size(), meant.path);
            };
            sources.read(plan_.file(i), compare);
        }
    }
    // The end has to be reached, which also checks the checksums of the compression.
    if (package_.next(found)) {
        fail(placeOf(found), "was written, but not planned");
    }
}

void Comparison::compareBytes(const Entry& entry, std::string_view piece) {
    while (!piece.empty()) {
        // The pieces of both sides have different lengths: what is left of one of them waits for the other.
        if (read_.empty()) {
            read_ = package_.read();
        }
        const std::size_t count = std::min(read_.size(), piece.size());
        // A count of 0: the file in the package is shorter than its source.
        if (count == 0 || read_.substr(0, count) != piece.substr(0, count)) {
            fail(placeOf(entry), "differs from its source");
        }
        read_.remove_prefix(count);
        piece.remove_prefix(count);
    }
}

}  // namespace bex::stream

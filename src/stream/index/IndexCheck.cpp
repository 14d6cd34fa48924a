#include "stream/index/IndexCheck.hpp"

#include <optional>
#include <string>
#include <utility>

namespace bex::stream {

namespace {

void addGroup(KeyedDigest& digest, std::uint64_t begin, const std::string& firstPath,
              const IndexColumns& columns) {
    // In the order in which compare() feeds the index's own groups.
    digest.add(begin);
    digest.write(firstPath);
    for (const std::string& column : columns.texts) {
        digest.write(column);
    }
}

}  // namespace

void IndexCheck::add(const Entry& entry, const TarExtent& extent) {
    group_.add(entry, extent);
    order_.add(plainPath(entry.path));
    ++entries_;
    // At the same counts as IndexBuilder, so that groups have the same entries.
    if (group_.size() == kIndexGroupEntries) {
        endGroup();
    }
}

void IndexCheck::endGroup() {
    addGroup(entriesDigest_, group_.begin(), group_.firstPath(), group_.columns());
    group_.clear();
}

void IndexCheck::finish() {
    // Without an index there is nothing to compare: most packages have none.
    if (!watch_.sawIndex()) {
        return;
    }
    try {
        compare();
    } catch (const StreamError& failure) {
        // A limit that is exceeded is no difference, and is thrown as everywhere.
        if (failure.kind() != ErrorKind::damaged) {
            throw;
        }
        // guard: indexes that differ from the payload
        place_.refuse(failure.kind(), failure.code(), failure.record().reason);
    }
}

void IndexCheck::refuseUncompared(const std::string& reason) const {
    if (!watch_.sawIndex()) {
        return;
    }
    const StreamError failure = indexError(place_, "cannot be compared with the payload: " + reason);
    place_.refuse(failure.kind(), failure.code(), failure.record().reason);
}

void IndexCheck::requireSame(std::uint64_t said, std::uint64_t found, const char* what) const {
    if (said != found) {
        throw indexError(place_,
                         "has " + std::to_string(said) + " " + what + ", the payload " + std::to_string(found));
    }
}

void IndexCheck::compare() {
    // Moved out of the watch: only one copy of the index is held.
    std::optional<std::string> bytes = watch_.takeIndex();
    if (!bytes) {
        place_.note("index-version", "has an index of a version that is not compared with the payload");
        return;
    }
    const PayloadIndex index(std::move(*bytes), watch_.streamBytes(), limits_, place_);
    // The numbers first: their messages say more than digests that differ.
    requireSame(index.entries(), entries_, "entries");
    requireSame(index.blocks(), watch_.blocks(), "blocks");
    requireSame(index.blockBytes(), watch_.blockBytes(), "bytes a block");
    requireSame(index.tarBytes(), watch_.unpackedBytes(), "bytes");
    if (index.sorted() != order_.sorted()) {
        throw indexError(place_, "says of another order of entries than the payload has");
    }
    // A digest under a key of this process: a package cannot be made to collide with it.
    KeyedDigest lengths(watch_.key());
    for (std::size_t i = 0; i < index.blocks(); ++i) {
        lengths.add(index.blockEnd(i) - index.blockBegin(i));
    }
    if (lengths != watch_.memberLengths()) {
        throw indexError(place_, "has blocks of other lengths than the payload");
    }
    // The last group, which add() has not closed.
    if (group_.size() != 0) {
        endGroup();
    }
    // Each group is unpacked, added and dropped: one of them is in memory at a time.
    KeyedDigest entries(watch_.key());
    for (std::size_t i = 0; i < index.groups(); ++i) {
        addGroup(entries, index.begin(i), index.firstPath(i), index.columns(i));
    }
    if (entries != entriesDigest_) {
        throw indexError(place_, "has other entries than the payload");
    }
}

}  // namespace bex::stream

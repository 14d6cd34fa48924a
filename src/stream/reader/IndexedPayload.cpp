#include "stream/reader/IndexedPayload.hpp"

#include <libdeflate.h>

#include <algorithm>
#include <functional>

#include "stream/base/PathOrder.hpp"
#include "stream/codec/Inflater.hpp"
#include "stream/tar/TarReader.hpp"

namespace bex::stream {

namespace {

/// The bytes of a part of the tar archive, for a TarReader.
class ArchiveBytes final : public Decompressor {
public:
    ArchiveBytes(const IndexedPayload& payload, std::uint64_t begin, std::uint64_t end)
        : payload_(payload), offset_(begin), end_(end) {}

    std::string_view next() override {
        // At the end a TarReader finds no further bytes, and reports the archive as cut off.
        if (offset_ >= end_) {
            return {};
        }
        const std::string_view bytes =
            payload_.bytesAt(offset_, block_)
                .substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(end_ - offset_, kMaximumBlockBytes)));
        // bytesAt() gives at least one byte before the archive's end.
        offset_ += bytes.size();
        return bytes;
    }

    std::uint64_t skip(std::uint64_t size) override {
        // offset_ is at most end_: next() and this keep it so.
        const std::uint64_t skipped = std::min(size, end_ - offset_);
        offset_ += skipped;
        return skipped;
    }

private:
    const IndexedPayload& payload_;
    std::uint64_t offset_;
    const std::uint64_t end_;
    std::shared_ptr<const Buffer> block_;
};

bool areSame(const Entry& left, const Entry& right) {
    return left.path == right.path && left.type == right.type && left.mode == right.mode &&
           left.size == right.size && left.mtime == right.mtime && left.uid == right.uid &&
           left.gid == right.gid && left.owner == right.owner && left.group == right.group &&
           left.linkTarget == right.linkTarget;
}

std::size_t hashOf(std::string_view path) {
    // For a table in memory alone: it may differ from run to run.
    return std::hash<std::string_view>()(path);
}

}  // namespace

// In the order of the members: the footer leads to the index.
IndexedPayload::IndexedPayload(std::shared_ptr<Source> source, const Member& member, const Place& place,
                               const Limits& limits)
    : source_(std::move(source)),
      member_(member),
      place_(place),
      limits_(limits),
      footer_(readFooter(limits)),
      index_(joinIndexChain(readExactly(footer_.offset, footer_.bytes), footer_, place), footer_.offset, limits,
             place) {}

std::string IndexedPayload::readExactly(std::uint64_t offset, std::uint64_t size) const {
    // Bounded by the callers: a footer, an index within its limit, or a block.
    std::string bytes(static_cast<std::size_t>(size), '\0');
    for (std::size_t done = 0; done < bytes.size();) {
        const std::size_t count =
            source_->readAt(member_.offset + offset + done, bytes.data() + done, bytes.size() - done);
        // The source shrank, or its size was wrong.
        if (count == 0) {
            place_.fail(
                ErrorKind::damaged, "ar-truncated",
                "ends after " + std::to_string(offset + done) + " of " + std::to_string(member_.size) + " bytes");
        }
        done += count;
    }
    return bytes;
}

IndexFooter IndexedPayload::readFooter(const Limits& limits) const {
    std::optional<IndexFooter> footer;
    if (member_.compression == Compression::gzip && member_.size >= kIndexFooterBytes) {
        footer = parseIndexFooter(readExactly(member_.size - kIndexFooterBytes, kIndexFooterBytes));
    }
    if (!footer) {
        place_.fail(ErrorKind::unsupported, "index-missing", "has no index");
    }
    // Before any byte is read at a place that the footer gives.
    checkIndexFooter(*footer, member_.size, limits, place_);
    return *footer;
}

std::shared_ptr<const IndexedPayload::Rows> IndexedPayload::rowsOf(std::size_t group) const {
    // Made without the lock of the cache, so that threads do not wait for each other's unpacking.
    return groups_.get(group, [this](std::size_t key) { return std::make_shared<const Rows>(index_.rows(key)); });
}

IndexRow IndexedPayload::row(std::size_t number) const {
    return rowsOf(number / kIndexGroupEntries)->at(number % kIndexGroupEntries);
}

std::optional<std::size_t> IndexedPayload::find(std::string_view plain) const {
    return index_.sorted() ? findSorted(plain) : findHashed(plain);
}

std::optional<std::size_t> IndexedPayload::findSorted(std::string_view plain) const {
    // The last group that does not begin after the path.
    std::size_t first = 0;
    // Binary search over the first paths, which are in the directory: no group is unpacked. [first, first + count)
    // holds the group.
    for (std::size_t count = index_.groups(); count > 1;) {
        const std::size_t half = count / 2;
        if (!comesBefore(plain, plainPath(index_.firstPath(first + half)))) {
            first += half;
            count -= half;
        } else {
            count = half;
        }
    }
    // An index without entries has no groups.
    if (first >= index_.groups()) {
        return std::nullopt;
    }
    const std::shared_ptr<const Rows> rows = rowsOf(first);
    // Paths within a group are in the order that the index claims; if not, an entry is not found, but none is
    // taken for another.
    const auto found = std::lower_bound(
        rows->begin(), rows->end(), plain,
        [](const IndexRow& row, std::string_view path) { return comesBefore(plainPath(row.entry.path), path); });
    if (found == rows->end() || plainPath(found->entry.path) != plain) {
        return std::nullopt;
    }
    return first * kIndexGroupEntries + static_cast<std::size_t>(found - rows->begin());
}

const IndexedPayload::Hashes& IndexedPayload::hashes() const {
    return hashes_.get([this] {
        Hashes every;
        every.reserve(size());
        forEachRow(
            [&](const IndexRow& row) { every.emplace_back(hashOf(plainPath(row.entry.path)), every.size()); });
        // By hash, then by number: of equal paths the first entry is found.
        std::sort(every.begin(), every.end());
        return every;
    });
}

std::optional<std::size_t> IndexedPayload::findHashed(std::string_view plain) const {
    const Hashes& hashes = this->hashes();
    // The hash alone decides nothing: each candidate's path is compared.
    const std::size_t hash = hashOf(plain);
    auto found = std::lower_bound(hashes.begin(), hashes.end(), Hashes::value_type(hash, 0));
    for (; found != hashes.end() && found->first == hash; ++found) {
        if (plainPath(row(found->second).entry.path) == plain) {
            return found->second;
        }
    }
    return std::nullopt;
}

std::optional<std::size_t> IndexedPayload::contentsOf(std::size_t number) const {
    // Each round leads to a lower number, so that links cannot run in a circle.
    for (std::optional<std::size_t> at = number; at;) {
        const IndexRow found = row(*at);
        if (found.entry.type == EntryType::file) {
            return at;
        }
        if (found.entry.type != EntryType::hardlink) {
            break;
        }
        const std::optional<std::size_t> target = find(plainPath(found.entry.linkTarget));
        // A link leads to an earlier entry, so that this ends.
        if (!target || *target >= *at) {
            break;
        }
        at = target;
    }
    return std::nullopt;
}

std::shared_ptr<const Buffer> IndexedPayload::unpack(std::size_t block) const {
    const std::uint64_t begin = index_.blockBegin(block);
    const std::uint64_t size = index_.blockEnd(block) - begin;
    // In range: bytesAt() asks only for blocks that begin before the archive's end.
    const std::uint64_t expected =
        std::min(index_.blockBytes(), index_.tarBytes() - std::uint64_t{block} * index_.blockBytes());
    const auto fail = [&](const char* what) {
        throw place_.error(ErrorKind::damaged, "member-damaged", memberAt(begin) + ": " + what);
    };
    // Before it is read: the directory's word is not enough for an allocation.
    if (size > kBlockHeaderBytes + kMaximumDeflateBytes + kGzipTrailerBytes) {
        fail("is longer than a block can be");
    }
    const std::string packed = readExactly(begin, size);
    const auto header = blockHeader(static_cast<std::uint32_t>(size));
    const auto isSame = [](std::uint8_t a, char b) { return a == static_cast<std::uint8_t>(b); };
    // Time, flags of the compressor and system stand between these parts; no reader of gzip looks at them.
    if (!std::equal(header.begin(), header.begin() + 4, packed.begin(), isSame) ||
        !std::equal(header.begin() + kExtraOffset, header.end(), packed.begin() + kExtraOffset, isSame)) {
        throw indexError(place_, "has a block at byte " + std::to_string(begin) + ", where there is none");
    }
    // PayloadIndex has refused blocks that are not longer than header and trailer.
    const std::size_t deflateBytes = packed.size() - kBlockHeaderBytes - kGzipTrailerBytes;
    // One byte more, which shows data that unpacks to more than is expected.
    auto buffer = std::make_shared<Buffer>(static_cast<std::size_t>(expected) + 1);
    const std::unique_ptr<Inflater> inflater = makeLibdeflateInflater();
    inflater->begin();
    const Inflater::Step step =
        inflater->inflate({packed.data() + kBlockHeaderBytes, deflateBytes}, buffer->data(), buffer->capacity());
    if (step.state != Inflater::State::ended || step.consumed != deflateBytes) {
        fail("invalid deflate data");
    }
    // The trailer first: a block that is damaged is one thing, an index that lies another.
    checkTrailer(decodeTrailer(packed.data() + packed.size() - kGzipTrailerBytes),
                 {libdeflate_crc32(0, buffer->data(), step.produced), static_cast<std::uint32_t>(step.produced)},
                 place_, begin);
    if (step.produced != expected) {
        throw indexError(place_, "says that the block at byte " + std::to_string(begin) + " unpacks to " +
                                     std::to_string(expected) + " bytes");
    }
    buffer->setSize(step.produced);
    return buffer;
}

std::string_view IndexedPayload::bytesAt(std::uint64_t offset, std::shared_ptr<const Buffer>& block) const {
    if (offset >= index_.tarBytes()) {
        return {};
    }
    // `block` keeps the bytes alive for the caller, also when the cache drops them.
    block = blocks_.get(static_cast<std::size_t>(offset / index_.blockBytes()),
                        [this](std::size_t key) { return unpack(key); });
    return block->view().substr(static_cast<std::size_t>(offset % index_.blockBytes()));
}

bool IndexedPayload::announce(const std::vector<Part>& parts) const {
    std::vector<Source::Range> ranges;
    ranges.reserve(parts.size());
    for (const Part& part : parts) {
        // What lies beyond the archive is refused when it is read.
        const std::uint64_t end = std::min(part.end, index_.tarBytes());
        if (part.begin < end) {
            const std::uint64_t from =
                index_.blockBegin(static_cast<std::size_t>(part.begin / index_.blockBytes()));
            const std::uint64_t to = index_.blockEnd(static_cast<std::size_t>((end - 1) / index_.blockBytes()));
            ranges.push_back({member_.offset + from, to - from});
        }
    }
    return source_->willRead(ranges);
}

std::uint64_t IndexedPayload::blockEndBefore(std::uint64_t offset) const noexcept {
    const std::uint64_t block = index_.blockBytes();
    return std::min((offset + block - 1) / block * block, index_.tarBytes());
}

void IndexedPayload::confirm(const IndexRow& row) const {
    if (!describes(row)) {  // guard: headers at an indexed place
        place_.at(row.entry.path)
            .fail(ErrorKind::damaged, "index-mismatch", "differs between the payload and the index");
    }
}

bool IndexedPayload::describes(const IndexRow& row) const {
    // Nothing after the headers: a place that holds something else could make the reader search for the end.
    ArchiveBytes bytes(*this, row.extent.begin, row.extent.contents);
    TarReader tar(bytes, limits_, place_);
    Entry found;
    try {
        // Both ends: an entry of another length would shift everything after it.
        return tar.next(found) && areSame(found, row.entry) &&
               row.extent.begin + tar.extent().contents == row.extent.contents &&
               row.extent.begin + tar.extent().end == row.extent.end;
    } catch (const StreamError& failure) {
        // What does not read as tar headers differs from the index. Other errors, such as failing reads, are the
        // caller's.
        if (failure.code().compare(0, 4, "tar-") == 0 || failure.kind() == ErrorKind::unsupported) {
            return false;
        }
        throw;
    }
}

}  // namespace bex::stream

#include "stream/index/PayloadIndex.hpp"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "stream/codec/Gzip.hpp"
#include "stream/codec/IndexChain.hpp"
#include "stream/codec/Inflater.hpp"
#include "stream/index/IndexBuilder.hpp"
#include "stream/index/Varint.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kPreambleBytes = 8;
constexpr const char* kMalformed = "has a malformed directory";

/// Unpacks exactly `size` bytes; nothing if the deflate data gives less or more.
std::optional<std::string> unpack(std::string_view packed, std::size_t size) {
    // `size` has been compared with Limits::indexBytes. The byte more shows data that unpacks to more.
    std::string text(size + 1, '\0');
    const std::unique_ptr<Inflater> inflater = makeLibdeflateInflater();
    inflater->begin();
    const Inflater::Step step = inflater->inflate(packed, text.data(), text.size());
    if (step.state != Inflater::State::ended || step.consumed != packed.size() || step.produced != size) {
        return std::nullopt;
    }
    text.resize(size);
    return text;
}

}  // namespace

// bytes_ is moved once and never changed: the views of columns are made from it when they are asked for.
PayloadIndex::PayloadIndex(std::string bytes, std::uint64_t streamBytes, const Limits& limits, Place place)
    : limits_(limits), place_(std::move(place)), bytes_(std::move(bytes)) {
    const std::string_view all = bytes_;
    const auto packed = static_cast<std::size_t>(all.size() < kPreambleBytes ? 0 : numberAt(all, 0, 4));
    // At least the preamble is there, so that the difference cannot wrap; an empty directory is refused as well.
    if (packed == 0 || packed > all.size() - kPreambleBytes) {
        throw indexError(place_, kMalformed);
    }
    const auto unpacked = static_cast<std::size_t>(numberAt(all, 4, 4));
    // Before it is unpacked: deflate can grow a thousandfold.
    if (unpacked > limits_.indexBytes) {  // guard: the size of an index's directory
        place_.failLimit("indexBytes", "has an index whose directory takes " + std::to_string(unpacked) +
                                           " bytes; the limit indexBytes allows " +
                                           std::to_string(limits_.indexBytes));
    }
    const std::optional<std::string> directory = unpack(all.substr(kPreambleBytes, packed), unpacked);
    if (!directory) {
        throw indexError(place_, kMalformed);
    }
    readDirectory(*directory, kPreambleBytes + packed, streamBytes);
}

void PayloadIndex::readDirectory(std::string_view text, std::size_t columnsBegin, std::uint64_t streamBytes) {
    VarintReader directory(text, kMalformed, place_);
    blockBytes_ = directory.number();
    tarBytes_ = directory.number();
    const std::uint64_t blocks = directory.number();
    entries_ = directory.number();
    const std::uint64_t sorted = directory.number();
    sorted_ = sorted == 1;
    // Before any row is counted or kept; what follows takes memory by this number.
    if (entries_ > limits_.entries) {  // guard: the number of entries in an index
        place_.failLimit("entries", "has an index of " + std::to_string(entries_) +
                                        " entries; the limit entries allows " + std::to_string(limits_.entries));
    }
    // The products cannot wrap: kMostIndexedBlocks times kMaximumBlockBytes fits into 64 bits, and both factors
    // are compared first.
    if (sorted > 1 || blockBytes_ == 0 || blockBytes_ > kMaximumBlockBytes || blocks > kMostIndexedBlocks ||
        blocks < 2 || tarBytes_ <= (blocks - 1) * blockBytes_ || tarBytes_ > blocks * blockBytes_) {
        directory.fail();
    }
    // Every number takes a byte at least, so that no more memory is taken than the directory has.
    std::uint64_t end = 0;
    while (blockEnds_.size() < blocks) {
        const std::uint64_t bytes = directory.number();
        // A block has at least one byte of deflate data. `end` is at most streamBytes, so that the difference
        // cannot wrap.
        if (bytes <= kBlockHeaderBytes + kGzipTrailerBytes || bytes > streamBytes - end) {
            directory.fail();
        }
        end += bytes;
        blockEnds_.push_back(end);
    }
    if (end != streamBytes) {  // guard: blocks that an index leaves out
        throw indexError(
            place_, "has blocks of " + std::to_string(end) + " bytes instead of " + std::to_string(streamBytes));
    }
    std::size_t offset = columnsBegin;
    // The directory counts for the limit, too: it stays in memory.
    std::uint64_t unpacked = text.size();
    // One round for each group, as many as the entries need. An index cannot have more or fewer.
    for (std::uint64_t left = entries_; left != 0; left -= std::min<std::uint64_t>(left, kIndexGroupEntries)) {
        Group group;
        group.begin = directory.number();
        group.firstPath = directory.countedText();
        // A group begins with an entry, which takes at least a header of the archive.
        if (group.begin >= tarBytes_) {
            directory.fail();
        }
        for (Column& column : group.columns) {
            const std::uint64_t size = directory.number();
            const std::uint64_t stored = directory.number();
            // Columns follow each other without gaps: nothing can be hidden between them, and none overlaps
            // another.
            if (stored > bytes_.size() - offset || (size == 0) != (stored == 0)) {
                directory.fail();
            }
            if (size > limits_.indexBytes - unpacked) {  // guard: the unpacked size of an index
                place_.failLimit("indexBytes", "has an index that unpacks to more than " +
                                                   std::to_string(limits_.indexBytes) +
                                                   " bytes (the limit indexBytes)");
            }
            column = {offset, static_cast<std::size_t>(stored), static_cast<std::size_t>(size)};
            unpacked += size;
            offset += column.stored;
        }
        groups_.push_back(std::move(group));
    }
    directory.finish();
    // Nothing may follow the last column.
    if (offset != bytes_.size()) {
        directory.fail();
    }
}

std::size_t PayloadIndex::sizeOf(std::size_t group) const noexcept {
    // The group exists, so that fewer than entries_ entries stand before it.
    return static_cast<std::size_t>(
        std::min<std::uint64_t>(kIndexGroupEntries, entries_ - std::uint64_t{group} * kIndexGroupEntries));
}

IndexColumns PayloadIndex::columns(std::size_t group) const {
    IndexColumns columns;
    for (std::size_t i = 0; i < kIndexColumns; ++i) {
        const Column& column = groups_[group].columns[i];
        // An empty column is not stored at all: libdeflate would need bytes for it.
        if (column.unpacked == 0) {
            continue;
        }
        std::optional<std::string> text =
            unpack(std::string_view(bytes_).substr(column.offset, column.stored), column.unpacked);
        if (!text) {
            throw indexError(place_, "has a malformed group of entries");
        }
        columns.texts[i] = std::move(*text);
    }
    return columns;
}

std::vector<IndexRow> PayloadIndex::rows(std::size_t group) const {
    // Several threads may do this at once: nothing here is changed.
    std::vector<IndexRow> rows = rowsOf(columns(group), sizeOf(group), begin(group), tarBytes_, limits_, place_);
    // A group has at least one row, as sizeOf() says.
    const std::uint64_t end = rows.back().extent.end;
    const bool isLast = group + 1 == groups_.size();
    // After the last entry come the end marks, which are part of the archive: an entry may not reach its end.
    if (rows.front().entry.path != firstPath(group) || (group == 0 && begin(group) != 0) ||
        (isLast ? end == tarBytes_ : end != begin(group + 1))) {  // guard: groups that do not follow each other
        throw indexError(place_, "has groups of entries that do not follow each other");
    }
    return rows;
}

}  // namespace bex::stream

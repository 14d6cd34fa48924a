#include "stream/index/IndexGroup.hpp"

#include <algorithm>
#include <string_view>

#include "stream/base/Text.hpp"
#include "stream/codec/IndexChain.hpp"
#include "stream/index/Varint.hpp"
#include "stream/tar/TarWriter.hpp"

namespace bex::stream {

namespace {

// The byte of an entry in the column of kinds: its type and what the entry has in other columns.
constexpr unsigned kTypeBits = 0x07;
constexpr unsigned kOtherOwner = 0x08;  // another owner than the entry before
constexpr unsigned kOwnLayout = 0x10;   // headers or contents of another length than TarWriter gives them
constexpr unsigned kUnusedBits = 0xe0;

constexpr const char* kMalformed = "has malformed columns";

constexpr EntryType kTypes[] = {EntryType::file,
                                EntryType::directory,
                                EntryType::symlink,
                                EntryType::hardlink,
                                EntryType::characterDevice,
                                EntryType::blockDevice,
                                EntryType::fifo,
                                EntryType::other};

unsigned numberOf(EntryType type) {
    // Every type is in the table, so that the number is below eight and fits into kTypeBits.
    return static_cast<unsigned>(std::find(std::begin(kTypes), std::end(kTypes), type) - std::begin(kTypes));
}

bool hasTarget(EntryType type) noexcept {
    return type == EntryType::symlink || type == EntryType::hardlink;
}

bool isOwnedBy(const Entry& entry, const Ownership& owner) noexcept {
    return entry.uid == owner.uid && entry.gid == owner.gid && entry.owner == owner.owner &&
           entry.group == owner.group;
}

void setOwner(const Ownership& from, Entry& to) {
    to.uid = from.uid;
    to.gid = from.gid;
    to.owner = from.owner;
    to.group = from.group;
}

/// Where TarWriter would put the entry.
TarExtent usualExtent(const Entry& entry, std::uint64_t begin) {
    TarExtent extent;
    extent.begin = begin;
    extent.contents = begin + tarHeaderBytesOf(entry);
    extent.end = extent.contents + paddedToBlocks(entry.type == EntryType::file ? entry.size : 0);
    return extent;
}

void appendCounted(std::string& to, const std::string& text) {
    appendVarint(to, text.size());
    to += text;
}

/// Reads the columns of one group row by row.
class RowReader {
public:
    RowReader(const IndexColumns& columns, std::uint64_t begin, std::uint64_t tarBytes, const Limits& limits,
              const Place& place)
        : columns_(columns), place_(place), position_(begin), tarBytes_(tarBytes), limits_(limits) {}

    IndexRow next() {
        const auto kind = static_cast<std::uint8_t>(kinds_.text(1).front());
        if ((kind & kUnusedBits) != 0) {
            fail();
        }
        IndexRow row;
        Entry& entry = row.entry;
        // In range: kTypeBits leaves eight values, and the table has eight.
        entry.type = kTypes[kind & kTypeBits];
        readPath();
        entry.path = path_;
        // Permission and set-id bits, as TarReader gives them.
        entry.mode = static_cast<std::uint32_t>(bounded(modes_.number(), 07777));
        if (entry.type == EntryType::file) {
            entry.size = bounded(sizes_.number(), kLargestTarSize);
        }
        // Modulo 2^64, as the difference was made: any two times have one.
        time_ += unzigzag(times_.number());
        entry.mtime = static_cast<std::int64_t>(time_);
        if ((kind & kOtherOwner) != 0) {
            readOwner();
        }
        setOwner(owner_, entry);
        if (hasTarget(entry.type)) {
            entry.linkTarget = name(links_.countedText());
        }
        row.extent = readExtent(entry, (kind & kOwnLayout) != 0);
        return row;
    }

    /// Throws unless all columns are at their end.
    void finish() const {
        for (const VarintReader* column :
             {&shared_, &added_, &names_, &kinds_, &modes_, &sizes_, &times_, &owners_, &links_, &layout_}) {
            column->finish();
        }
    }

    std::uint64_t position() const noexcept { return position_; }

private:
    [[noreturn]] void fail() const { throw indexError(place_, kMalformed); }

    VarintReader column(IndexColumn column) const { return {columns_[column], kMalformed, place_}; }

    std::uint64_t bounded(std::uint64_t number, std::uint64_t most) const {
        if (number > most) {
            fail();
        }
        return number;
    }

    std::string name(std::string_view text) const {
        if (text.size() > limits_.nameBytes) {  // guard: lengths of names in an index
            place_.failLimit("nameBytes", "the index has a name or link target of " + std::to_string(text.size()) +
                                              " bytes; the limit nameBytes allows " +
                                              std::to_string(limits_.nameBytes));
        }
        if (text.find('\0') != std::string_view::npos) {
            fail();
        }
        return std::string(text);
    }

    void readPath() {
        const std::uint64_t shared = bounded(shared_.number(), path_.size());
        // At most path_.size(), so that resize() never adds bytes.
        path_.resize(static_cast<std::size_t>(shared));
        path_ += name(names_.text(added_.number()));
        // A path that leads out must not even be listed: callers show what the index says.
        if (path_.empty() || path_.front() == '/' || hasParentComponent(path_)) {
            throw indexError(place_, "has a name that no payload has");
        }
        // Again, for the whole: the shared beginning and the rest may each be within the limit.
        name(path_);
        pathBytes_ += path_.size();
        // Shared beginnings make long paths of few bytes.
        if (pathBytes_ > limits_.indexBytes / 4) {  // guard: memory for the paths of an index
            place_.failLimit("indexBytes", "the index has paths of more than " +
                                               std::to_string(limits_.indexBytes / 4) +
                                               " bytes in one group (a quarter of the limit indexBytes)");
        }
    }

    void readOwner() {
        owner_.uid = owners_.number();
        owner_.gid = owners_.number();
        owner_.owner = name(owners_.countedText());
        owner_.group = name(owners_.countedText());
    }

    /// Every entry begins where the one before ends, so that none can overlap.
    TarExtent readExtent(const Entry& entry, bool ownLayout) {
        TarExtent extent = usualExtent(entry, position_);
        if (ownLayout) {
            // Bounded before it is multiplied: the product is then at most the archive's length.
            const std::uint64_t most = tarBytes_ / kTarBlockBytes;
            extent.contents = position_ + bounded(layout_.number(), most) * kTarBlockBytes;
            extent.end = extent.contents + bounded(layout_.number(), most) * kTarBlockBytes;
        }
        // No sum wraps: each part is at most 2^63, and position_ at most tarBytes_, which is less.
        if (extent.end > tarBytes_ || extent.contents > extent.end || entry.size > extent.end - extent.contents) {
            throw indexError(place_, "has an entry that ends after the payload");
        }
        position_ = extent.end;
        return extent;
    }

    const IndexColumns& columns_;
    const Place& place_;
    VarintReader shared_ = column(IndexColumn::shared);
    VarintReader added_ = column(IndexColumn::added);
    VarintReader names_ = column(IndexColumn::names);
    VarintReader kinds_ = column(IndexColumn::kinds);
    VarintReader modes_ = column(IndexColumn::modes);
    VarintReader sizes_ = column(IndexColumn::sizes);
    VarintReader times_ = column(IndexColumn::times);
    VarintReader owners_ = column(IndexColumn::owners);
    VarintReader links_ = column(IndexColumn::links);
    VarintReader layout_ = column(IndexColumn::layout);
    std::uint64_t position_;
    const std::uint64_t tarBytes_;
    const Limits& limits_;
    std::string path_;
    std::uint64_t pathBytes_ = 0;
    std::uint64_t time_ = 0;  // a difference may wrap
    Ownership owner_;         // root at first, as in IndexGroup
};

}  // namespace

// The columns depend on the entries of this group alone: it begins with no path, time 0 and root.
void IndexGroup::add(const Entry& entry, const TarExtent& extent) {
    if (size_ == 0) {
        begin_ = extent.begin;
        firstPath_ = entry.path;
        lastOwner_ = {};
    }
    ++size_;
    unsigned kind = numberOf(entry.type);
    addPath(entry.path);
    appendVarint(columns_[IndexColumn::modes], entry.mode);
    if (entry.type == EntryType::file) {
        appendVarint(columns_[IndexColumn::sizes], entry.size);
    }
    // Unsigned, because the difference of two times may not fit into 64 bits with a sign.
    const std::uint64_t difference =
        static_cast<std::uint64_t>(entry.mtime) - static_cast<std::uint64_t>(lastTime_);
    appendVarint(columns_[IndexColumn::times], zigzag(difference));
    lastTime_ = entry.mtime;
    // Most entries have the owner of the one before, and take no byte for it.
    if (!isOwnedBy(entry, lastOwner_)) {
        kind |= kOtherOwner;
        addOwner(entry);
    }
    if (hasTarget(entry.type)) {
        appendCounted(columns_[IndexColumn::links], entry.linkTarget);
    }
    // Archives of other writers, or with pax headers, have headers of other lengths. In multiples of blocks, as
    // everything in tar.
    const TarExtent usual = usualExtent(entry, extent.begin);
    if (usual.contents != extent.contents || usual.end != extent.end) {
        kind |= kOwnLayout;
        appendVarint(columns_[IndexColumn::layout], (extent.contents - extent.begin) / kTarBlockBytes);
        appendVarint(columns_[IndexColumn::layout], (extent.end - extent.contents) / kTarBlockBytes);
    }
    // Last, because the columns above decide its bits.
    columns_[IndexColumn::kinds] += static_cast<char>(kind);
}

void IndexGroup::addPath(const std::string& path) {
    // Bytewise: a character of UTF-8 may be cut, which the reader joins again.
    const auto parted = std::mismatch(path.begin(), path.end(), lastPath_.begin(), lastPath_.end());
    const auto shared = static_cast<std::size_t>(parted.first - path.begin());
    appendVarint(columns_[IndexColumn::shared], shared);
    appendVarint(columns_[IndexColumn::added], path.size() - shared);
    columns_[IndexColumn::names].append(path, shared, std::string::npos);
    lastPath_ = path;
}

void IndexGroup::addOwner(const Entry& entry) {
    std::string& owners = columns_[IndexColumn::owners];
    appendVarint(owners, entry.uid);
    appendVarint(owners, entry.gid);
    appendCounted(owners, entry.owner);
    appendCounted(owners, entry.group);
    lastOwner_ = {entry.uid, entry.gid, entry.owner, entry.group};
}

// The strings keep their memory for the next group. The owner is set again by the first add().
void IndexGroup::clear() {
    for (std::string& column : columns_.texts) {
        column.clear();
    }
    size_ = 0;
    firstPath_.clear();
    lastPath_.clear();
    lastTime_ = 0;
}

std::vector<IndexRow> rowsOf(const IndexColumns& columns, std::size_t size, std::uint64_t begin,
                             std::uint64_t tarBytes, const Limits& limits, const Place& place) {
    // Each row takes a byte, so that the memory below is bounded by what is there.
    if (columns[IndexColumn::kinds].size() != size) {
        throw indexError(place, kMalformed);
    }
    RowReader reader(columns, begin, tarBytes, limits, place);
    std::vector<IndexRow> rows;
    rows.reserve(size);
    while (rows.size() < size) {
        rows.push_back(reader.next());
    }
    // Bytes that no row has read would make two indexes of the same entries differ.
    reader.finish();
    return rows;
}

}  // namespace bex::stream

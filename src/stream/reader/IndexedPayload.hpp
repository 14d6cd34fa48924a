#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bex/stream/Limits.hpp"
#include "bex/stream/Member.hpp"
#include "bex/stream/Source.hpp"
#include "stream/base/Lazy.hpp"
#include "stream/base/Place.hpp"
#include "stream/codec/Buffer.hpp"
#include "stream/codec/IndexChain.hpp"
#include "stream/index/PayloadIndex.hpp"

namespace bex::stream {

/// Keeps the values that were asked for last, so that neighbours need not be made again. Several threads may use
/// it; what two of them miss at once is made twice.
template <typename Value>
class RecentValues {
public:
    using Pointer = std::shared_ptr<const Value>;

    template <typename Make>
    Pointer get(std::size_t key, Make make) {
        if (Pointer known = find(key)) {
            return known;
        }
        Pointer made = make(key);
        const std::lock_guard lock(mutex_);
        if (values_.size() == kMost) {
            values_.pop_back();
        }
        values_.insert(values_.begin(), {key, made});
        return made;
    }

private:
    static constexpr std::size_t kMost = 4;

    Pointer find(std::size_t key) {
        const std::lock_guard lock(mutex_);
        for (auto value = values_.begin(); value != values_.end(); ++value) {
            if (value->first == key) {
                std::rotate(values_.begin(), value, value + 1);
                return values_.front().second;
            }
        }
        return nullptr;
    }

    std::mutex mutex_;                                     // guards what follows
    std::vector<std::pair<std::size_t, Pointer>> values_;  // the one used last comes first
};

/// The payload of a package by its index: rows by number and path, and the bytes of the tar archive from any
/// place. Several threads may use it.
class IndexedPayload {
public:
    /// Reads the index of the data member. Throws StreamError as IndexedPackage.
    IndexedPayload(std::shared_ptr<Source> source, const Member& member, const Place& place, const Limits& limits);

    const Place& place() const noexcept { return place_; }
    std::size_t size() const noexcept { return static_cast<std::size_t>(index_.entries()); }
    std::uint64_t indexBytes() const noexcept { return footer_.bytes + kIndexFooterBytes; }
    std::uint64_t blocks() const noexcept { return index_.blocks(); }
    std::uint64_t blockBytes() const noexcept { return index_.blockBytes(); }

    IndexRow row(std::size_t number) const;
    /// Calls with each row in order, with a group of them in memory at a time.
    template <typename Visit>
    void forEachRow(Visit visit) const {
        for (std::size_t group = 0; group < index_.groups(); ++group) {
            // Past the cache: going through all groups would displace those that are in use.
            for (const IndexRow& row : index_.rows(group)) {
                visit(row);
            }
        }
    }
    std::optional<std::size_t> find(std::string_view plain) const;
    /// The row that holds the contents of the row of that number: itself or, for a hard link, the file that it
    /// leads to; nothing where there is none.
    std::optional<std::size_t> contentsOf(std::size_t number) const;

    /// The bytes of the tar archive from `offset` on, up to the end of their block; empty at the archive's end.
    /// The block stays as long as it is held.
    std::string_view bytesAt(std::uint64_t offset, std::shared_ptr<const Buffer>& block) const;

    /// A part of the tar archive, from `begin` to before `end`.
    struct Part {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
    };
    /// Says to the source that the blocks with these parts will be read, in this order. Returns whether the source
    /// fetches ahead; may be asked with no parts.
    bool announce(const std::vector<Part>& parts) const;
    /// Where the block of the archive's byte before `offset` ends.
    std::uint64_t blockEndBefore(std::uint64_t offset) const noexcept;

    /// Throws StreamError unless the headers at the row's place describe the row's entry.
    void confirm(const IndexRow& row) const;

private:
    using Rows = std::vector<IndexRow>;

    bool describes(const IndexRow& row) const;
    IndexFooter readFooter(const Limits& limits) const;
    /// Hashes of paths, with the entries' numbers; sorted.
    using Hashes = std::vector<std::pair<std::size_t, std::size_t>>;

    std::string readExactly(std::uint64_t offset, std::uint64_t size) const;
    std::shared_ptr<const Rows> rowsOf(std::size_t group) const;
    std::shared_ptr<const Buffer> unpack(std::size_t block) const;
    std::optional<std::size_t> findSorted(std::string_view plain) const;
    const Hashes& hashes() const;
    std::optional<std::size_t> findHashed(std::string_view plain) const;

    const std::shared_ptr<Source> source_;
    const Member member_;
    const Place place_;
    const Limits limits_;
    const IndexFooter footer_;
    const PayloadIndex index_;
    mutable RecentValues<Rows> groups_;
    mutable RecentValues<Buffer> blocks_;
    mutable Lazy<Hashes> hashes_;
};

}  // namespace bex::stream

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bex/stream/Limits.hpp"
#include "stream/base/Place.hpp"
#include "stream/index/IndexGroup.hpp"

namespace bex::stream {

/// The index of a payload as it was read. Its directory is unpacked, its groups are when they are asked for. What
/// it says is hostile: every number is checked against the limits and against each other, but only the payload can
/// show whether it is true. Several threads may use it.
class PayloadIndex {
public:
    /// Takes over the bytes that joinIndexChain() gives. `streamBytes`: of the gzip stream before the chain.
    /// Throws StreamError: `damaged` for what IndexBuilder does not make, `limitExceeded`.
    PayloadIndex(std::string bytes, std::uint64_t streamBytes, const Limits& limits, Place place);

    std::uint64_t entries() const noexcept { return entries_; }
    std::uint64_t blockBytes() const noexcept { return blockBytes_; }  ///< of every block but the last, unpacked
    std::uint64_t tarBytes() const noexcept { return tarBytes_; }
    /// Whether each path stands after the one before (PathOrder).
    bool sorted() const noexcept { return sorted_; }
    std::uint64_t blocks() const noexcept { return blockEnds_.size(); }
    /// Where the block begins and ends in the gzip stream.
    std::uint64_t blockBegin(std::size_t block) const noexcept { return block == 0 ? 0 : blockEnds_[block - 1]; }
    std::uint64_t blockEnd(std::size_t block) const noexcept { return blockEnds_[block]; }

    std::size_t groups() const noexcept { return groups_.size(); }
    /// How many entries the group has: kIndexGroupEntries but for the last.
    std::size_t sizeOf(std::size_t group) const noexcept;
    const std::string& firstPath(std::size_t group) const noexcept { return groups_[group].firstPath; }
    std::uint64_t begin(std::size_t group) const noexcept { return groups_[group].begin; }

    /// Unpacks a group. Throws StreamError (`damaged`).
    IndexColumns columns(std::size_t group) const;
    /// The entries of a group. Throws as rowsOf().
    std::vector<IndexRow> rows(std::size_t group) const;

private:
    struct Column {
        std::size_t offset = 0;  ///< in bytes_
        std::size_t stored = 0;
        std::size_t unpacked = 0;
    };
    struct Group {
        std::uint64_t begin = 0;
        std::string firstPath;
        std::array<Column, kIndexColumns> columns;
    };

    void readDirectory(std::string_view directory, std::size_t columnsBegin, std::uint64_t streamBytes);

    const Limits limits_;
    const Place place_;
    const std::string bytes_;
    std::uint64_t entries_ = 0;
    std::uint64_t blockBytes_ = 0;
    std::uint64_t tarBytes_ = 0;
    bool sorted_ = false;
    std::vector<std::uint64_t> blockEnds_;
    std::vector<Group> groups_;
};

}  // namespace bex::stream

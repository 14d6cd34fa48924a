#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bex/stream/Attributes.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/Limits.hpp"
#include "stream/base/Place.hpp"
#include "stream/tar/TarReader.hpp"

namespace bex::stream {

/// Entries of an index that are compressed together. docs/format.md describes the columns.
constexpr std::size_t kIndexGroupEntries = 4096;

enum class IndexColumn : std::size_t { shared, added, names, kinds, modes, sizes, times, owners, links, layout };
constexpr std::size_t kIndexColumns = 10;

/// One group of an index, uncompressed, column by column.
struct IndexColumns {
    std::string& operator[](IndexColumn column) noexcept { return texts[static_cast<std::size_t>(column)]; }
    const std::string& operator[](IndexColumn column) const noexcept {
        return texts[static_cast<std::size_t>(column)];
    }

    std::array<std::string, kIndexColumns> texts;
};

/// An entry and where it stands in the payload's tar archive.
struct IndexRow {
    Entry entry;
    TarExtent extent;
};

/// Turns entries into the columns of a group. The same entries give the same bytes.
class IndexGroup {
public:
    /// Appends the next entry of the archive. At most kIndexGroupEntries until clear().
    void add(const Entry& entry, const TarExtent& extent);

    std::size_t size() const noexcept { return size_; }
    const std::string& firstPath() const noexcept { return firstPath_; }
    /// Where the headers of the first entry begin.
    std::uint64_t begin() const noexcept { return begin_; }
    const IndexColumns& columns() const noexcept { return columns_; }

    void clear();

private:
    void addPath(const std::string& path);
    void addOwner(const Entry& entry);

    IndexColumns columns_;
    std::size_t size_ = 0;
    std::uint64_t begin_ = 0;
    std::string firstPath_;
    std::string lastPath_;
    std::int64_t lastTime_ = 0;
    Ownership lastOwner_;
};

/// The entries of a group that begins at `begin` of an archive of `tarBytes`. Throws StreamError: `damaged` for
/// columns that IndexGroup does not make of any entries, `limitExceeded` for names beyond Limits::nameBytes and
/// for paths that take more memory than a quarter of Limits::indexBytes.
std::vector<IndexRow> rowsOf(const IndexColumns& columns, std::size_t size, std::uint64_t begin,
                             std::uint64_t tarBytes, const Limits& limits, const Place& place);

}  // namespace bex::stream

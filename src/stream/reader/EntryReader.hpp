#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "bex/stream/Sink.hpp"
#include "stream/codec/BoundedDecompressor.hpp"
#include "stream/index/IndexCheck.hpp"
#include "stream/reader/EntryPolicy.hpp"
#include "stream/tar/TarReader.hpp"

namespace bex::stream {

/// How an archive inside the package is read.
struct EntryReaderSettings {
    DecompressionSettings unpacking;  ///< its `watch` is the reader's own
    ByteLimit bytesLimit;             ///< on what may come out of it
    /// Gets every byte of the archive as it is unpacked, the end marks and what follows them too; null: nobody. It
    /// must outlive the reader. Nothing is then skipped unread.
    Sink* copy = nullptr;
    /// Compare the archive with the index that may follow it. Once the last entry has been read, one that differs
    /// is refused.
    bool checkIndex = false;
};

/// The entries of one tar archive of the package, unpacked, bounded and judged.
class EntryReader {
public:
    /// `contents` are the member's, as stored; it must outlive this.
    EntryReader(ByteStream& contents, Compression compression, const EntryReaderSettings& settings,
                const Place& place);

    /// Goes to the next entry that the policy accepts; false after the last, when all checksums have been checked.
    /// What the policy refuses goes to the place; if that does not throw, the entry is returned all the same.
    bool next(Entry& entry);

    /// Raises the limit of what may come out of the archive.
    void allow(std::uint64_t bytes) noexcept { bytes_.allow(bytes); }

    /// The current entry's path in plainPath() form.
    const std::string& path() const noexcept { return policy_.path(); }
    /// As EntryPolicy::lacksParent().
    bool lacksParent() const noexcept { return policy_.lacksParent(); }

    /// As TarReader::extent().
    const TarExtent& extent() const noexcept { return tar_.extent(); }

    /// As TarReader::read().
    std::string_view read() { return tar_.read(); }
    /// As Decompressor::hold(), for what read() gave last.
    std::shared_ptr<const void> hold() { return bytes_.hold(); }

private:
    std::unique_ptr<IndexCheck> indexCheck_;  // null without an index to expect
    BoundedDecompressor bytes_;
    TarReader tar_;
    EntryPolicy policy_;
};

/// Writes the bytes of the tar archive as they are unpacked, bounded like EntryReader's. Entries are read only for
/// `checkIndex`, and none is refused: without an index, whatever is stored is copied.
void copyTar(ByteStream& contents, Compression compression, const EntryReaderSettings& settings,
             const Place& place, Sink& out);

}  // namespace bex::stream

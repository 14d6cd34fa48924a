#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bex/stream/Entry.hpp"
#include "stream/codec/Decompressor.hpp"
#include "stream/tar/TarExtensions.hpp"
#include "stream/tar/TarHeader.hpp"

namespace bex::stream {

/// Where an entry stands in an archive, in bytes from its beginning.
struct TarExtent {
    std::uint64_t begin = 0;     ///< of its headers
    std::uint64_t contents = 0;  ///< of what follows them
    std::uint64_t end = 0;       ///< of the padding
};

/// Reads a tar archive entry by entry. Contents are neither kept nor copied; headers are compared with the limits
/// before anything is allocated for them. Throws StreamError for a damaged archive and for headers that readers
/// understand differently. After any exception the reader only accepts destruction.
class TarReader {
public:
    /// `bytes` must outlive this.
    TarReader(Decompressor& bytes, const Limits& limits, Place place);

    /// Goes to the next entry and skips what is left of the current one. Returns false at the end marks, when the
    /// stream has been read to its end.
    bool next(Entry& entry);

    /// The next bytes of the current entry's contents, valid until the next call of any kind; empty at their end.
    std::string_view read();

    /// Where the current entry stands.
    const TarExtent& extent() const noexcept { return extent_; }

private:
    bool refill();
    std::string_view take(std::uint64_t size);
    std::string_view readBlock();
    std::string readBody(std::uint64_t size);
    void skip(std::uint64_t size);
    void begin(TarHeader header, const TarExtensions& extensions, Entry& entry);
    void checkEntry(const TarHeader& header, EntryType type, const TarExtensions& extensions) const;
    void finish();
    [[noreturn]] void failTruncated() const;

    Decompressor& bytes_;
    Limits limits_;
    Place place_;
    std::string_view view_;           // of bytes_, not used yet
    std::string block_;               // a header that does not lie within one view
    std::uint64_t contentsLeft_ = 0;  // of the current entry, for read()
    std::uint64_t restLeft_ = 0;      // bytes between them and the next header
    std::uint64_t position_ = 0;      // of view_ in the archive
    TarExtent extent_;
};

}  // namespace bex::stream

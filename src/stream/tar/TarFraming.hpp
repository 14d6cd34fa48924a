#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "stream/codec/Decompressor.hpp"
#include "stream/tar/PaxRecords.hpp"
#include "stream/tar/TarHeader.hpp"

namespace bex::stream {

/// Stands between the unpacked bytes of a member and the library that decodes the tar archive: follows the
/// archive from header to header, holds every header against the limits before the library allocates by it,
/// throws StreamError for what readers understand differently, and hands on the bytes of one entry at a time.
/// Contents are neither kept nor copied.
class TarFraming {
public:
    /// `bytes` must outlive this.
    TarFraming(Decompressor& bytes, const Limits& limits, Place place)
        : bytes_(bytes), limits_(limits), place_(std::move(place)) {}

    /// Reads all headers of the next entry; false at the end marks, when the stream has been read to its end.
    /// left() has to be 0.
    bool nextHeaders();

    /// What the headers say together.
    const TarHeader& entry() const noexcept { return entry_; }
    bool sparse() const noexcept { return sparse_; }
    /// Whether there is a pax extended header, whose texts are UTF-8.
    bool hasPaxRecords() const noexcept { return pax_.has_value(); }

    /// The next bytes of the entry, headers and padding included, valid until the next call of any kind; empty at
    /// its end.
    std::string_view piece();

    /// Passes over up to `size` bytes of what piece() has yet to give and tells how many.
    std::uint64_t skip(std::uint64_t size);

    /// Bytes that piece() and skip() have handed out since the beginning.
    std::uint64_t handedOut() const noexcept { return handedOut_; }

    /// Bytes that piece() has yet to give.
    std::uint64_t left() const noexcept { return headers_.size() - given_ + bodyLeft_; }

private:
    std::string_view take(std::uint64_t size);
    bool readBlock();
    void takeExtension(const TarHeader& header);
    std::string_view readBody(const TarHeader& header, std::uint64_t limit, const char* what);
    void combine(TarHeader header);
    void checkEntry();
    void readSparseMap(bool continues);
    void checkMapInBody();
    void holdMapAgainstLimit(std::uint64_t bytes) const;
    void finish();
    [[noreturn]] void failTruncated() const;

    Decompressor& bytes_;
    Limits limits_;
    Place place_;
    std::string_view view_;  // of bytes_, not used yet
    std::string headers_;    // of the current entry
    std::size_t given_ = 0;  // of headers_
    std::uint64_t bodyLeft_ = 0;
    std::uint64_t handedOut_ = 0;
    std::optional<std::string> longPath_;
    std::optional<std::string> longLink_;
    std::optional<PaxRecords> pax_;
    TarHeader entry_;
    bool sparse_ = false;
};

}  // namespace bex::stream

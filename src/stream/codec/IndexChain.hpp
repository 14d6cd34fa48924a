#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "bex/stream/Limits.hpp"
#include "stream/base/KeyedDigest.hpp"
#include "stream/base/Place.hpp"
#include "stream/codec/Gzip.hpp"

namespace bex::stream {

// An index follows the blocks of a gzip stream as a chain of empty members, which other readers pass over
// (docs/format.md): each holds a piece of the index in a subfield "BI" of its header, and the last one, the
// footer, says in a subfield "BF" where the chain begins. All of them tell their length in "BX", as blocks do.

constexpr std::uint16_t kIndexVersion = 1;
/// The most of the index that one member holds. The extra field of a header has room for 65535 bytes.
constexpr std::size_t kIndexPieceBytes = 65000;
/// What a member of the chain takes beside its piece.
constexpr std::size_t kIndexMemberBytes = kBlockHeaderBytes + 4 + 2 + kGzipTrailerBytes;
constexpr std::size_t kIndexFooterDataBytes = 32;
constexpr std::size_t kIndexFooterBytes = kIndexMemberBytes + kIndexFooterDataBytes;

/// Appends a number of so many bytes, the lowest first, as in gzip (RFC 1952, 2.1).
void appendNumber(std::string& to, std::uint64_t number, unsigned bytes);
/// Reads such a number. It must lie within `bytes`.
std::uint64_t numberAt(std::string_view bytes, std::size_t offset, unsigned size);

struct IndexFooter {
    std::uint16_t version = kIndexVersion;
    std::uint64_t offset = 0;  ///< of the chain in the member of the ar archive
    std::uint64_t bytes = 0;   ///< of the chain, the footer not counted
    std::uint64_t stored = 0;  ///< bytes of the index in the chain
    std::uint32_t crc = 0;     ///< CRC-32 of them
};

/// Bytes of the chain, without its footer, for an index of so many bytes.
std::uint64_t indexChainBytes(std::uint64_t stored) noexcept;

/// The chain with its footer, to stand `offset` bytes after the beginning of the gzip stream.
std::string formatIndexChain(std::string_view index, std::uint64_t offset);

/// The footer that the last kIndexFooterBytes of a gzip stream are; nothing if they are none.
std::optional<IndexFooter> parseIndexFooter(std::string_view bytes);

/// The `damaged` error of an index that is not what it says or not what the payload holds.
StreamError indexError(const Place& place, std::string reason);

/// Throws StreamError for a footer of another version, for one that does not fit a stream of `streamBytes` and for
/// an index beyond Limits::indexBytes.
void checkIndexFooter(const IndexFooter& footer, std::uint64_t streamBytes, const Limits& limits,
                      const Place& place);

/// The index that a chain holds. Throws StreamError (`damaged`) unless the chain is what formatIndexChain()
/// makes, but for times and systems in its headers.
std::string joinIndexChain(std::string_view chain, const IndexFooter& footer, const Place& place);

/// Sees every member of a gzip stream as it is read, in order, and keeps what an index is compared with. Used by
/// one thread at a time.
class BlockWatch {
public:
    BlockWatch(const Limits& limits, Place place)
        : limits_(limits), place_(std::move(place)), memberLengths_(key_) {}

    /// A member that unpacks to so many bytes; nothing where that is not known in advance.
    void see(const GzipHeader& header, std::optional<std::uint32_t> unpacked);

    const DigestKey& key() const noexcept { return key_; }
    /// The lengths of all blocks, one number each.
    const KeyedDigest& memberLengths() const noexcept { return memberLengths_; }
    std::uint64_t blocks() const noexcept { return blocks_; }
    std::uint64_t blockBytes() const noexcept { return blockBytes_; }        ///< of the first one, unpacked
    std::uint64_t unpackedBytes() const noexcept { return unpackedBytes_; }  ///< of all
    std::uint64_t streamBytes() const noexcept { return streamBytes_; }      ///< of all, compressed

    /// Whether the stream has an index, or pieces of one.
    bool sawIndex() const noexcept { return chainBytes_ != 0 || footer_.has_value(); }
    /// Moves the index out. Nothing if it is of a version that cannot be compared. Throws StreamError where the
    /// chain is not whole, or what stands before it is not a row of blocks of one size.
    std::optional<std::string> takeIndex();

private:
    void seeBlock(const GzipHeader& header, std::optional<std::uint32_t> unpacked);

    const Limits limits_;
    const Place place_;
    const DigestKey key_;
    KeyedDigest memberLengths_;
    std::uint64_t blocks_ = 0;
    std::uint64_t blockBytes_ = 0;
    std::uint64_t unpackedBytes_ = 0;
    std::uint64_t streamBytes_ = 0;  // of all blocks, compressed
    bool ended_ = false;             // a block shorter than the first was the last
    const char* fault_ = nullptr;    // why the stream can have no index
    std::uint64_t chainBytes_ = 0;
    std::string index_;
    std::optional<IndexFooter> footer_;
};

}  // namespace bex::stream

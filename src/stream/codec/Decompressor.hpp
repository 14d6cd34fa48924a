#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Limits.hpp"
#include "stream/base/Place.hpp"
#include "stream/codec/BlockForecast.hpp"
#include "stream/system/ByteStream.hpp"

namespace bex::stream {

class BlockWatch;

/// The uncompressed bytes of one member, in order, in chunks. Used by one thread at a time; may use threads of
/// its own, which end with it: the source must be left alone until then, and destruction waits for a read of it
/// that is under way. Memory is bounded by block size and threads, or by the limits.
class Decompressor {
public:
    virtual ~Decompressor() = default;

    /// The next bytes, valid until the next call; empty only at the end, when checksum and length of all that
    /// was read have been found right and the source is at its end.
    /// Throws StreamError about the place given to openDecompressor(): `damaged` for a truncated
    /// stream, a wrong checksum or length, bytes after the end; `limitExceeded`; what the source throws.
    virtual std::string_view next() = 0;

    /// Keeps what next() gave last as it is, in memory of its own, until the last copy of the result is gone. Null
    /// where that cannot be: it is valid until the next call, as always.
    virtual std::shared_ptr<const void> hold() { return nullptr; }

    /// Passes over up to `size` bytes of what next() has yet to give and tells how many (fewer only at the end).
    /// Whole blocks whose length is known are jumped over, unchecked but for their headers.
    virtual std::uint64_t skip(std::uint64_t size) = 0;

    /// The caller will refuse more than `bytes` further bytes. What lies beyond them is not unpacked in advance,
    /// except what is under way already and the block, or the MiB of a stream without blocks, in which they end.
    virtual void expectAtMost(std::uint64_t bytes) { static_cast<void>(bytes); }
};

/// One that cannot jump: it skips by unpacking, in the memory of one piece.
class ForwardDecompressor : public Decompressor {
public:
    std::string_view next() final;
    std::uint64_t skip(std::uint64_t size) final;

private:
    /// What next() gives where nothing was skipped.
    virtual std::string_view nextPiece() = 0;

    std::string_view rest_;  // of the last piece, after a skip
};

struct DecompressionSettings {
    unsigned threads = 1;  ///< 1: all on the caller's thread
    Limits limits;         ///< xzMemoryBytes and zstdWindowLog
    /// gzip is inflated by zlib, which refuses deflate data that no compressor writes and that the faster
    /// inflaters take; all that both take comes out alike.
    bool strict = false;
    /// Unpacks 4 KiB at a time, blocks too, on the caller's thread, and reads little more of the source than that
    /// needs: for a source where every byte is dear.
    bool gradual = false;
    /// Sees the members of gzip, from whichever thread reads the source; null: nobody. It must outlive the result,
    /// and is complete when next() has returned nothing.
    BlockWatch* watch = nullptr;
    /// Called once at most, at the first jump over blocks of gzip where several threads may work; blocks that are
    /// wanted are then unpacked ahead. Empty or null: no block is, as another jump may follow.
    std::function<std::unique_ptr<BlockForecast>()> forecast = {};
};

/// Decompresses what is left of `source` (which ends where the member ends and must outlive the result).
/// gzip: RFC 1952; members with a length subfield in parallel blocks, others by one fast stream; zero bytes
/// after the last member are passed over. Errors are about `place`.
std::unique_ptr<Decompressor> openDecompressor(ByteStream& source, Compression compression, const Place& place,
                                               const DecompressionSettings& settings);

}  // namespace bex::stream

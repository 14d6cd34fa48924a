#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "stream/base/PathOrder.hpp"
#include "stream/index/IndexGroup.hpp"

struct libdeflate_compressor;

namespace bex::stream {

/// The most blocks that a payload with an index has: it bounds what a reader keeps of them.
constexpr std::uint64_t kMostIndexedBlocks = std::uint64_t{1} << 20;

/// Makes the index of a payload while it is written. Memory: one group of entries, and some 10 bytes for each
/// entry and 3 for each block, as they will be stored. The bytes depend on nothing but what is added.
class IndexBuilder {
public:
    /// Takes the next block of the payload: its bytes in the stream and those that it unpacks to.
    void addBlock(std::uint64_t memberBytes, std::uint64_t unpackedBytes);

    /// Takes the next entry.
    void add(const Entry& entry, const TarExtent& extent);

    /// The chain of gzip members that belongs after the last block; "" for a payload of one block, of more than
    /// kMostIndexedBlocks, or of blocks of different sizes. Call once, last.
    std::string takeChain();

    /// Bytes of the index before they are compressed: what Limits::indexBytes counts. Call after takeChain().
    std::uint64_t unpackedBytes() const noexcept { return unpackedBytes_; }

private:
    void endGroup();
    std::size_t append(std::string_view text, std::string& to);

    std::shared_ptr<libdeflate_compressor> compressor_;
    IndexGroup group_;
    PathOrder order_;
    std::string memberLengths_;  // of the blocks, as they go into the directory
    std::string groups_;         // their part of the directory
    std::string columns_;        // compressed
    std::uint64_t entries_ = 0;
    std::uint64_t blocks_ = 0;
    std::uint64_t blockBytes_ = 0;
    std::uint64_t lastBlockBytes_ = 0;
    std::uint64_t streamBytes_ = 0;
    std::uint64_t tarBytes_ = 0;
    std::uint64_t unpackedBytes_ = 0;
    bool uniform_ = true;
};

}  // namespace bex::stream

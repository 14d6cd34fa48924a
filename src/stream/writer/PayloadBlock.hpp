#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "bex/stream/Entry.hpp"
#include "stream/codec/GzipBlockWork.hpp"
#include "stream/tar/TarWriter.hpp"
#include "stream/writer/SpanningFile.hpp"

namespace bex::stream {

/// Where an entry stands in the payload's tar stream, in bytes from its beginning.
struct EntryExtent {
    EntryExtent(const Entry& entry, std::uint64_t at)
        : begin(at),
          contents(at + tarHeaderBytesOf(entry)),
          contentsEnd(contents + (entry.type == EntryType::file ? entry.size : 0)),
          end(contents + paddedToBlocks(contentsEnd - contents)) {}

    std::uint64_t begin;
    std::uint64_t contents;
    std::uint64_t contentsEnd;
    std::uint64_t end;  ///< of the padding
};

/// A piece of the payload's tar stream: `input` takes the bytes, `output` what they are compressed to.
struct PayloadBlock : Block {
    /// The part of a range of the stream that lies in this block.
    struct Part {
        char* data;            ///< in `input`
        std::size_t size;      ///< 0 where the range lies elsewhere
        std::uint64_t offset;  ///< in the range
    };

    /// A name of a file that ends in this block.
    struct Sum {
        std::size_t entry;           ///< its index in the plan
        Md5::HexDigest digest = {};  ///< "" for a further name: that of the file it leads to
    };

    std::uint64_t end() const noexcept { return offset + input.size(); }

    Part partOf(std::uint64_t from, std::uint64_t to) noexcept {
        const std::uint64_t first = std::max(from, offset);
        const std::uint64_t last = std::min(to, end());
        if (first >= last) {
            return {input.data(), 0, 0};
        }
        return {input.data() + (first - offset), static_cast<std::size_t>(last - first), first - from};
    }

    /// Whether headers and contents of the entry, but for the padding, end in this block.
    bool completes(const EntryExtent& extent) const noexcept {
        return extent.contentsEnd > offset && extent.contentsEnd <= end();
    }

    std::uint64_t offset = 0;              ///< of `input` in the stream
    std::size_t firstEntry = 0;            ///< that has bytes in the block
    std::uint64_t firstBegin = 0;          ///< where that entry begins
    std::shared_ptr<SpanningFile> before;  ///< the file that goes on from the block before
    std::shared_ptr<SpanningFile> after;   ///< the file that goes on in the next block, maybe the same
    std::vector<Sum> sums;
    std::uint64_t contentBytes = 0;
};

}  // namespace bex::stream

#pragma once

#include <cstdint>
#include <vector>

namespace bex::tool {

/// Divides the compressed payload among its contents. Contents are unpacked in blocks (1 MiB of gzip, a part of
/// another stream), and a block's compressed bytes are divided evenly among the bytes that came out of it: a small
/// file has the share of its neighbours.
class PayloadShares {
public:
    /// `begin`: where in the package the payload begins.
    explicit PayloadShares(std::uint64_t begin) : read_(begin) {}

    /// Adds `size` bytes of contents that have come out when the package had been read up to `read`.
    void add(std::uint64_t size, std::uint64_t read);

    /// The compressed bytes of the contents before `offset`, which must not fall from call to call, nor does the
    /// result. Call when all contents were added.
    std::uint64_t packedBefore(std::uint64_t offset);

private:
    struct Block {
        std::uint64_t begin = 0;  ///< of its contents
        std::uint64_t size = 0;
        std::uint64_t packed = 0;
    };

    std::vector<Block> blocks_;
    std::uint64_t read_;
    std::uint64_t contents_ = 0;
    std::size_t next_ = 0;      // the first block that a later call may need
    std::uint64_t passed_ = 0;  // compressed bytes of those before it
};

}  // namespace bex::tool

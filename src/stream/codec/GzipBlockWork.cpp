#include "stream/codec/GzipBlockWork.hpp"

#include <libdeflate.h>

#include <cstring>
#include <new>
#include <string_view>

#include "stream/codec/Gzip.hpp"
#include "stream/codec/Noise.hpp"

namespace bex::stream {

GzipBlockWork::Compressor GzipBlockWork::makeCompressor(int level) {
    Compressor compressor(libdeflate_alloc_compressor(level), libdeflate_free_compressor);
    if (!compressor) {
        throw std::bad_alloc();
    }
    return compressor;
}

GzipBlockWork::GzipBlockWork(int level) : compressor_(makeCompressor(level)), storer_(makeCompressor(0)) {}

void GzipBlockWork::operator()(Block& block) const {
    const std::string_view data = block.input.view();
    // Noise is stored: libdeflate at level 0 writes stored blocks only (RFC 1951, 3.2.4).
    libdeflate_compressor* const compressor = isNoise(data) ? storer_.get() : compressor_.get();
    const std::size_t bound = libdeflate_deflate_compress_bound(compressor, data.size());
    block.output.reserve(kBlockHeaderBytes + bound + kGzipTrailerBytes);
    char* const out = block.output.data();
    // The bound leaves room for any data, so that this never gives 0.
    const std::size_t deflated =
        libdeflate_deflate_compress(compressor, data.data(), data.size(), out + kBlockHeaderBytes, bound);
    // A block has at most kMaximumBlockBytes: `size` and the length of the data fit into the 32 bits of their
    // fields.
    const std::size_t size = kBlockHeaderBytes + deflated + kGzipTrailerBytes;
    const auto header = blockHeader(static_cast<std::uint32_t>(size));
    const auto trailer = encode(
        GzipTrailer{libdeflate_crc32(0, data.data(), data.size()), static_cast<std::uint32_t>(data.size())});
    // Last, because the header gives the length of the whole member. Its place was left free in front of the data.
    std::memcpy(out, header.data(), header.size());
    std::memcpy(out + kBlockHeaderBytes + deflated, trailer.data(), trailer.size());
    block.output.setSize(size);
}

}  // namespace bex::stream

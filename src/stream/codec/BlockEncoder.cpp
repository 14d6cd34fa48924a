#include <libdeflate.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "stream/codec/BlockPool.hpp"
#include "stream/codec/Encoder.hpp"
#include "stream/codec/Gzip.hpp"
#include "stream/codec/Noise.hpp"

namespace bex::stream {

namespace {

using Compressor = std::shared_ptr<libdeflate_compressor>;

Compressor makeCompressor(int level) {
    Compressor compressor(libdeflate_alloc_compressor(level), libdeflate_free_compressor);
    if (!compressor) {
        throw std::bad_alloc();
    }
    return compressor;
}

/// Makes a block of Gzip.hpp; noise is stored. Copies share the compressors, which one thread may use at a time.
class GzipBlockWork {
public:
    explicit GzipBlockWork(int level) : compressor_(makeCompressor(level)), storer_(makeCompressor(0)) {}

    void operator()(Block& block) const {
        const std::string_view data = block.input.view();
        libdeflate_compressor* const compressor = isNoise(data) ? storer_.get() : compressor_.get();
        const std::size_t bound = libdeflate_deflate_compress_bound(compressor, data.size());
        block.output.reserve(kBlockHeaderBytes + bound + kGzipTrailerBytes);
        char* const out = block.output.data();
        // The bound leaves room for any data, so that this never gives 0.
        const std::size_t deflated =
            libdeflate_deflate_compress(compressor, data.data(), data.size(), out + kBlockHeaderBytes, bound);
        const std::size_t size = kBlockHeaderBytes + deflated + kGzipTrailerBytes;
        const auto header = blockHeader(static_cast<std::uint32_t>(size));
        const auto trailer = encode(
            GzipTrailer{libdeflate_crc32(0, data.data(), data.size()), static_cast<std::uint32_t>(data.size())});
        std::memcpy(out, header.data(), header.size());
        std::memcpy(out + kBlockHeaderBytes + deflated, trailer.data(), trailer.size());
        block.output.setSize(size);
    }

private:
    Compressor compressor_;
    Compressor storer_;
};

class BlockEncoder final : public Encoder {
public:
    BlockEncoder(Sink& out, const CompressionSettings& settings)
        : out_(out),
          blockBytes_(settings.blockBytes),
          pool_(settings.threads, jobsInFlight(settings.threads),
                [level = settings.level] { return GzipBlockWork(level); }) {}

    void write(const char* data, std::size_t size) override {
        while (size != 0) {
            makeRoom();
            Buffer& input = pool_.next().input;
            const std::size_t count = std::min(size, blockBytes_ - filled_);
            input.reserve(blockBytes_);
            std::memcpy(input.data() + filled_, data, count);
            filled_ += count;
            data += count;
            size -= count;
            if (filled_ == blockBytes_) {
                submit();
            }
        }
    }

    void finish() override {
        // An empty stream is one empty block; no other is empty.
        if (filled_ != 0 || !begun_) {
            makeRoom();
            submit();
        }
        while (!pool_.empty()) {
            writeFront();
        }
    }

private:
    void makeRoom() {
        while (pool_.full() || (!pool_.empty() && pool_.ready())) {
            writeFront();
        }
    }

    void submit() {
        pool_.next().input.setSize(filled_);
        // A stream that ends with its first block needs no thread.
        if (!begun_ && filled_ < blockBytes_) {
            pool_.submitHere();
        } else {
            pool_.submit();
        }
        filled_ = 0;
        begun_ = true;
    }

    void writeFront() {
        const Buffer& output = pool_.front().output;
        out_.write(output.data(), output.size());
        pool_.pop();
    }

    Sink& out_;
    const std::size_t blockBytes_;
    std::size_t filled_ = 0;  // of the pool's next block
    bool begun_ = false;
    BlockPool pool_;
};

}  // namespace

std::unique_ptr<Encoder> makeBlockEncoder(Sink& out, const CompressionSettings& settings) {
    return std::make_unique<BlockEncoder>(out, settings);
}

}  // namespace bex::stream

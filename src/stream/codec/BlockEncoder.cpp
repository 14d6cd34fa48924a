#include <libdeflate.h>
#include <zstd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "bex/stream/StreamError.hpp"
#include "stream/codec/BlockPool.hpp"
#include "stream/codec/Encoder.hpp"
#include "stream/codec/Gzip.hpp"

namespace bex::stream {
namespace {

/// Makes a block of Gzip.hpp. Copies share the compressor, which one thread may use at a time.
class GzipBlockWork {
public:
    explicit GzipBlockWork(int level)
        : compressor_(libdeflate_alloc_compressor(level), libdeflate_free_compressor) {
        if (!compressor_) {
            throw std::bad_alloc();
        }
    }

    void operator()(Block& block) const {
        const std::string_view data = block.input.view();
        const std::size_t bound = libdeflate_deflate_compress_bound(compressor_.get(), data.size());
        block.output.reserve(kBlockHeaderBytes + bound + kGzipTrailerBytes);
        char* const out = block.output.data();
        // The bound leaves room for any data, so that this never gives 0.
        const std::size_t deflated = libdeflate_deflate_compress(compressor_.get(), data.data(), data.size(),
                                                                 out + kBlockHeaderBytes, bound);
        const std::size_t size = kBlockHeaderBytes + deflated + kGzipTrailerBytes;
        const auto header = blockHeader(static_cast<std::uint32_t>(size));
        const auto trailer = encode(
            GzipTrailer{libdeflate_crc32(0, data.data(), data.size()), static_cast<std::uint32_t>(data.size())});
        std::memcpy(out, header.data(), header.size());
        std::memcpy(out + kBlockHeaderBytes + deflated, trailer.data(), trailer.size());
        block.output.setSize(size);
    }

private:
    std::shared_ptr<libdeflate_compressor> compressor_;
};

/// Binary logarithm of what a zstd frame holds, and of its window. A frame begins without knowing what came
/// before; from these sizes on that costs at most some 0.3 % of a single frame with the level's own window,
/// measured on headers and on executables, and the longer window often more than makes up for it.
int zstdBlockLog(int level) noexcept {
    return level < 3 ? 22 : level < 16 ? 24 : 25;
}

/// Makes a zstd frame with content size and checksum. Shared as above.
class ZstdBlockWork {
public:
    explicit ZstdBlockWork(int level) : context_(ZSTD_createCCtx(), ZSTD_freeCCtx) {
        if (!context_) {
            throw std::bad_alloc();
        }
        check(ZSTD_CCtx_setParameter(context_.get(), ZSTD_c_compressionLevel, level));
        check(ZSTD_CCtx_setParameter(context_.get(), ZSTD_c_windowLog, zstdBlockLog(level)));
        check(ZSTD_CCtx_setParameter(context_.get(), ZSTD_c_checksumFlag, 1));
    }

    void operator()(Block& block) const {
        const std::string_view data = block.input.view();
        block.output.reserve(ZSTD_compressBound(data.size()));
        block.output.setSize(check(ZSTD_compress2(context_.get(), block.output.data(), block.output.capacity(),
                                                  data.data(), data.size())));
    }

private:
    static std::size_t check(std::size_t result) {
        if (ZSTD_isError(result) != 0) {
            throw StreamError(ErrorKind::inputOutput,
                              std::string("can't compress with zstd: ") + ZSTD_getErrorName(result));
        }
        return result;
    }

    std::shared_ptr<ZSTD_CCtx> context_;
};

/// What is in flight covers the time that one block takes longer than its neighbours. Blocks of zstd are large,
/// so fewer must do.
std::size_t blocksInFlight(const CompressionSettings& settings) {
    const std::size_t threads = settings.threads;
    if (threads <= 1) {
        return 1;
    }
    return settings.compression == Compression::zstd ? threads + 1 : threads * 2;
}

std::function<BlockPool::Work()> workOf(const CompressionSettings& settings) {
    const int level = settings.level;
    if (settings.compression == Compression::zstd) {
        return [level] { return ZstdBlockWork(level); };
    }
    return [level] { return GzipBlockWork(level); };
}

class BlockEncoder final : public Encoder {
public:
    BlockEncoder(Sink& out, const CompressionSettings& settings)
        : out_(out),
          blockBytes_(settings.compression == Compression::zstd ? zstdBlockBytes(settings.level)
                                                                : settings.blockBytes),
          pool_(settings.threads, blocksInFlight(settings), workOf(settings)) {}

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

std::size_t zstdBlockBytes(int level) noexcept {
    return std::size_t{1} << zstdBlockLog(level);
}

}  // namespace bex::stream

#include <memory>
#include <utility>

#include "stream/base/WorkPool.hpp"
#include "stream/codec/BufferStore.hpp"
#include "stream/codec/StreamDecoder.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kChunksAhead = 4;

std::size_t chunksInFlight(unsigned threads) {
    if (threads <= 1) {
        return 1;
    }
    return kChunksAhead;
}

using Chunk = std::shared_ptr<Buffer>;  // null until it is decoded

/// The caller decodes the first chunk itself; a longer stream is decoded by a thread, if threads are wanted.
/// Exactly one of the two uses decoder_ and ended_: the caller until the first submit(), the pool's only worker
/// after that.
class StreamDecompressor final : public ForwardDecompressor {
public:
    StreamDecompressor(std::shared_ptr<const Input> input, std::unique_ptr<StreamDecoder> decoder,
                       unsigned threads, std::size_t chunkBytes)
        : input_(std::move(input)),
          decoder_(std::move(decoder)),
          chunkBytes_(chunkBytes),
          pool_(threads, chunksInFlight(threads), [this] { return [this](Chunk& chunk) { decode(chunk); }; }) {
        pool_.keepToOneWorker();  // the bytes of a stream are decoded in order
    }

    std::shared_ptr<const void> hold() override {
        if (!given_) {
            return nullptr;
        }
        held_ = true;
        return pool_.front();
    }

private:
    std::string_view nextPiece() override {
        // The caller asks for the next chunk, and so is done with the last one.
        if (std::exchange(given_, false)) {
            if (std::exchange(held_, false)) {
                pool_.front().reset();  // another's from now on
            }
            pool_.pop();
        }
        if (!begun_ || isShort_) {
            pool_.submitHere();
            begun_ = true;
            isShort_ = ended_;
        } else {
            while (!pool_.full()) {
                pool_.submit();
            }
        }
        // A failed chunk stays the front, so that each later call throws its error again.
        const Buffer& chunk = *pool_.front();
        given_ = true;
        return chunk.view();
    }

    /// Leaves the chunk shorter than chunkBytes_ only at the end, and empty after it.
    void decode(Chunk& slot) {
        if (slot == nullptr) {
            slot = store_.take();
        }
        Buffer& chunk = *slot;
        chunk.setSize(0);
        if (ended_) {
            return;
        }
        // If fill() throws, that is the end as well: the decoder must not be used again.
        ended_ = true;
        chunk.reserve(chunkBytes_);
        const std::size_t size = decoder_->fill(chunk.data(), chunkBytes_);
        chunk.setSize(size);
        ended_ = size < chunkBytes_;
    }

    const std::shared_ptr<const Input> input_;  // outlives the decoder
    const std::unique_ptr<StreamDecoder> decoder_;
    const std::size_t chunkBytes_;
    bool begun_ = false;
    bool isShort_ = false;  // the first chunk was all: that needs no thread
    bool ended_ = false;
    bool given_ = false;  // the front of the pool is the caller's
    bool held_ = false;   // and somebody keeps its bytes
    BufferStore store_;
    WorkPool<Chunk> pool_;  // last: its destructor waits for the worker, which uses the others
};

}  // namespace

std::unique_ptr<Decompressor> makeStreamDecompressor(std::shared_ptr<const Input> input,
                                                     std::unique_ptr<StreamDecoder> decoder, unsigned threads,
                                                     std::size_t chunkBytes) {
    return std::make_unique<StreamDecompressor>(std::move(input), std::move(decoder), threads, chunkBytes);
}

}  // namespace bex::stream

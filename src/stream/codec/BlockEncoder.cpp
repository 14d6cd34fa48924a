#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>

#include "stream/base/WorkPool.hpp"
#include "stream/codec/Encoder.hpp"
#include "stream/codec/GzipBlockWork.hpp"

namespace bex::stream {

namespace {

/// Blocks leave the pool in the order in which they were submitted, whichever worker finishes first, and only this
/// thread writes them: the output does not depend on the number of threads. `filled_` is below `blockBytes_`
/// between calls.
class BlockEncoder final : public Encoder {
public:
    BlockEncoder(Sink& out, const CompressionSettings& settings)
        : out_(out),
          blockBytes_(settings.blockBytes),
          onBlock_(settings.onBlock),
          pool_(settings.threads, jobsInFlight(settings.threads),
                [level = settings.level] { return GzipBlockWork(level); }) {}

    void write(const char* data, std::size_t size) override {
        while (size != 0) {
            // For each piece: submitting a block may have filled the pool, and pool_.next() needs a free slot.
            makeRoom();
            Buffer& input = pool_.next().input;
            const std::size_t count = std::min(size, blockBytes_ - filled_);
            // The same size every time: a reused buffer is not allocated again, and its first `filled_` bytes are
            // kept.
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
        // Waits only if the pool is full. Blocks that are done already are written at once, so that their buffers
        // are free.
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
        const Block& block = pool_.front();
        out_.write(block.output.data(), block.output.size());
        if (onBlock_) {
            onBlock_(block.output.size(), block.input.size());
        }
        // After the last use of `block`: the pool gives its buffers to a later block.
        pool_.pop();
    }

    Sink& out_;
    const std::size_t blockBytes_;
    const std::function<void(std::uint64_t, std::uint64_t)> onBlock_;
    std::size_t filled_ = 0;  // of the pool's next block
    bool begun_ = false;
    // Last, so destroyed first: the workers end before anything else here does.
    WorkPool<Block> pool_;
};

}  // namespace

std::unique_ptr<Encoder> makeBlockEncoder(Sink& out, const CompressionSettings& settings) {
    return std::make_unique<BlockEncoder>(out, settings);
}

}  // namespace bex::stream

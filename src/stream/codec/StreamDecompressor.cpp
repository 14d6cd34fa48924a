#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "stream/codec/Buffer.hpp"
#include "stream/codec/StreamDecoder.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kChunksAhead = 4;

/// A ring of chunks. The caller decodes the first one itself; a longer stream is decoded by a thread, if threads
/// are wanted. Exactly one of the two uses decoder_: the caller until thread_ runs, the thread after that. The
/// chunks from head_ to head_ + count_ are the caller's to read, the next one is being decoded. A chunk that was
/// given out stays untouched until the caller asks for the next.
class StreamDecompressor final : public Decompressor {
public:
    StreamDecompressor(std::unique_ptr<StreamDecoder> decoder, unsigned threads, std::size_t chunkBytes)
        : decoder_(std::move(decoder)),
          chunkBytes_(chunkBytes),
          threadWanted_(threads > 1),
          chunks_(threads > 1 ? kChunksAhead : 1) {}

    ~StreamDecompressor() override {
        {
            // Under the lock, although it is one flag: the thread could otherwise test it, miss the change and
            // then wait for ever.
            const std::lock_guard lock(mutex_);
            stopped_ = true;
        }
        room_.notify_one();
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    std::string_view next() override {
        if (rest_.empty()) {
            return takeChunk();
        }
        return std::exchange(rest_, {});
    }

    std::uint64_t skip(std::uint64_t size) override {
        std::uint64_t done = 0;
        while (done < size) {
            // At least one chunk is decoded for each round, so that bytes are discarded with the memory of one
            // chunk.
            rest_ = next();
            if (rest_.empty()) {
                break;
            }
            // The first operand or the size of a chunk bounds it: the conversion loses nothing.
            const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(size - done, rest_.size()));
            rest_.remove_prefix(count);
            done += count;
        }
        return done;
    }

private:
    std::string_view takeChunk() {
        // The caller asks for the next chunk, and so is done with the last one.
        giveBack();
        if (!thread_.joinable()) {
            startOrDecode();
        }
        std::unique_lock lock(mutex_);
        decoded_.wait(lock, [this] { return count_ != 0 || ended_; });
        // Chunks that were decoded before the failure come first: the caller gets every byte up to it.
        if (count_ != 0) {
            given_ = true;
            return chunks_[head_].view();
        }
        // The failure stays: each later call throws it again.
        if (failure_) {
            std::rethrow_exception(failure_);
        }
        return {};
    }

    void giveBack() {
        // Nothing was given out, as at the start: there is no chunk to free.
        if (!std::exchange(given_, false)) {
            return;
        }
        {
            const std::lock_guard lock(mutex_);
            head_ = (head_ + 1) % chunks_.size();
            --count_;
        }
        room_.notify_one();
    }

    /// Without a thread, and when all decoded chunks are given back.
    void startOrDecode() {
        // Read without the lock: without a thread nobody else writes it.
        if (ended_) {
            return;
        }
        // The first chunk is decoded here: a member that fits into it needs no thread.
        if (std::exchange(begun_, true) && threadWanted_) {
            try {
                thread_ = std::thread([this] { runAhead(); });
                return;
            } catch (const std::system_error&) {
                threadWanted_ = false;  // no thread to be had: the caller's does as well
            }
        }
        decode(chunks_[head_]);
    }

    void runAhead() {
        bool more = true;
        while (more) {
            std::unique_lock lock(mutex_);
            room_.wait(lock, [this] { return stopped_ || count_ < chunks_.size(); });
            if (stopped_) {
                return;
            }
            // The chunk after the decoded ones. The caller touches only those before it, so that it may be filled
            // without the lock.
            Buffer& chunk = chunks_[(head_ + count_) % chunks_.size()];
            lock.unlock();
            more = decode(chunk);
        }
    }

    /// False when nothing follows.
    bool decode(Buffer& chunk) {
        std::exception_ptr failure;
        std::size_t size = 0;
        try {
            chunk.reserve(chunkBytes_);
            size = decoder_->fill(chunk.data(), chunkBytes_);
        } catch (...) {
            failure = std::current_exception();
        }
        chunk.setSize(size);
        // A decoder gives less than it was asked for only at its end.
        const bool ended = failure != nullptr || size < chunkBytes_;
        {
            const std::lock_guard lock(mutex_);
            // One step: whoever sees `ended_` sees the failure too.
            failure_ = std::move(failure);
            ended_ = ended;
            // A failure discards what its call had decoded (size is 0), as the decoder says nothing about those
            // bytes.
            if (size != 0) {
                ++count_;
            }
        }
        decoded_.notify_one();
        return !ended;
    }

    const std::unique_ptr<StreamDecoder> decoder_;
    const std::size_t chunkBytes_;
    bool threadWanted_;
    bool begun_ = false;
    bool given_ = false;     // the chunk at head_ is the caller's
    std::string_view rest_;  // of that chunk, after a skip

    std::mutex mutex_;  // guards what follows
    std::condition_variable room_;
    std::condition_variable decoded_;
    std::vector<Buffer> chunks_;  // from head_, count_ of them are decoded and not given back
    std::size_t head_ = 0;
    std::size_t count_ = 0;
    bool ended_ = false;
    bool stopped_ = false;
    std::exception_ptr failure_;
    std::thread thread_;  // the owner's alone
};

}  // namespace

std::unique_ptr<Decompressor> makeStreamDecompressor(std::unique_ptr<StreamDecoder> decoder, unsigned threads,
                                                     std::size_t chunkBytes) {
    return std::make_unique<StreamDecompressor>(std::move(decoder), threads, chunkBytes);
}

}  // namespace bex::stream

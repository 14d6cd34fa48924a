#include <libdeflate.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <limits>
#include <utility>

#include "stream/base/WorkPool.hpp"
#include "stream/codec/Buffer.hpp"
#include "stream/codec/BufferStore.hpp"
#include "stream/codec/CodecError.hpp"
#include "stream/codec/IndexChain.hpp"
#include "stream/codec/Inflater.hpp"
#include "stream/codec/StreamDecoder.hpp"

namespace bex::stream {

namespace {

/// A block on its way through the pool.
struct PackedBlock {
    std::uint64_t offset = 0;            ///< of the member in its stream, for messages
    std::uint32_t unpacked = 0;          ///< bytes, as its trailer said when the block was passed
    Buffer input;                        ///< deflate data and trailer
    std::optional<SourceOffset> origin;  ///< where a worker reads them, unless they are there
    bool wanted = true;                  ///< to be unpacked; false: only if it is asked for after all
    std::shared_ptr<Buffer> output;      ///< null until it is unpacked
};

/// Reads a block, if need be, and unpacks it. Copies share the inflater, which one thread may use at a time.
class UnpackWork {
public:
    UnpackWork(Place place, bool strict, BufferStore& store)
        : place_(std::move(place)),
          inflater_(strict ? makeZlibInflater() : makeLibdeflateInflater()),
          store_(store) {}

    void operator()(PackedBlock& block) const {
        if (block.wanted) {
            unpack(block);
        }
    }

    void unpack(PackedBlock& block) const {
        if (block.origin) {
            readInput(block);
        }
        // blockBytes() has compared the member's length with header and trailer: the difference cannot wrap.
        const std::size_t deflateBytes = block.input.size() - kGzipTrailerBytes;
        const GzipTrailer expected = decodeTrailer(block.input.data() + deflateBytes);
        // load() has bounded the size by kMaximumBlockBytes before the block came here: a trailer cannot ask for
        // more memory.
        const std::size_t room = std::size_t{expected.size} + 1;  // shows whether there is more
        if (block.output == nullptr) {
            block.output = store_.take();
        }
        Buffer& output = *block.output;
        output.reserve(room);
        inflater_->begin();
        const Inflater::Step step = inflater_->inflate({block.input.data(), deflateBytes}, output.data(), room);
        // Before the other checks: where the room is too small the inflater says "open", which would be reported
        // as invalid data.
        if (step.state != Inflater::State::invalid && step.produced == room) {
            throw damaged(block, "wrong length: unpacks to more than the " + std::to_string(expected.size) +
                                     " bytes that its trailer says");
        }
        if (step.state != Inflater::State::ended) {
            throw damaged(block, "invalid deflate data");
        }
        // A deflate stream that ends early leaves bytes that no one looks at. Other readers would begin the next
        // member there.
        if (step.consumed != deflateBytes) {  // guard: a block's own length
            throw wrongMemberLength(place_, block.offset);
        }
        const GzipTrailer found{libdeflate_crc32(0, output.data(), step.produced),
                                static_cast<std::uint32_t>(step.produced)};
        checkTrailer(expected, found, place_, block.offset);
        output.setSize(step.produced);
    }

private:
    void readInput(PackedBlock& block) const {
        const SourceOffset& origin = *block.origin;
        std::size_t done = 0;
        while (done < block.input.size()) {
            const std::size_t count =
                origin.source->readAt(origin.offset + done, block.input.data() + done, block.input.size() - done);
            // Its trailer was there when the block was passed.
            if (count == 0) {
                throw damaged(block, "the file became shorter while it was read");
            }
            done += count;
        }
    }

    StreamError damaged(const PackedBlock& block, const std::string& reason) const {
        return damagedError(place_, memberAt(block.offset) + ": " + reason);
    }

    Place place_;
    std::shared_ptr<Inflater> inflater_;
    BufferStore& store_;
};

/// Deflate data and trailer of a block, in bytes; nothing for a member that has to be streamed.
std::optional<std::size_t> blockBytes(const GzipHeader& header, const Place& place) {
    if (!header.memberBytes) {
        return std::nullopt;
    }
    // Also what keeps the difference below, and the one in UnpackWork, from wrapping.
    if (*header.memberBytes < header.bytes + kGzipTrailerBytes) {
        throw wrongMemberLength(place, header.offset);
    }
    const std::uint64_t bytes = *header.memberBytes - header.bytes;
    // Too long for a block, so a member of another writer that uses the same subfield: streamed, with bounded
    // memory.
    if (bytes > kMaximumDeflateBytes + kGzipTrailerBytes) {
        return std::nullopt;
    }
    return bytes;
}

/// Unpacks in one of two modes. It begins with blocks: next() reads the headers of up to window_ blocks ahead and
/// has the pool unpack them, while skip() jumps over blocks that lie wholly inside, unread but for header and
/// trailer. Where a forecast says which blocks will be asked for, those that will not be pass through the pool as
/// they are. At the first member that is not a block it changes to a stream for good: stream_ then owns the rest
/// of the input. This thread alone reads the input and the pool's front; a worker has a block from submit() until
/// it is the front.
class GzipDecompressor final : public Decompressor {
public:
    GzipDecompressor(std::shared_ptr<Input> input, Place place, const DecompressionSettings& settings)
        : place_(std::move(place)),
          settings_(settings),
          largestWindow_(jobsInFlight(settings.threads)),
          window_(std::min<std::size_t>(2, largestWindow_)),
          input_(std::move(input)),
          pool_(settings.threads, largestWindow_,
                [this] { return UnpackWork(place_, settings_.strict, store_); }) {}

    std::string_view next() override {
        giveBack();
        while (!streaming()) {
            readAhead();
            if (pool_.empty()) {
                endBlocks();
                if (!streaming()) {
                    // Nothing follows the blocks: the end.
                    return {};
                }
                break;
            }
            unpackUnforeseen(pool_.front());
            const std::string_view bytes = pool_.front().output->view().substr(passed_);
            if (!bytes.empty()) {
                // Not popped yet: the bytes stay the caller's until its next call.
                given_ = true;
                return bytes;
            }
            // An empty block, or one that was skipped to its end. The next one may have bytes.
            pop();
        }
        return stream_->next();
    }

    std::shared_ptr<const void> hold() override {
        if (!given_) {
            return streaming() ? stream_->hold() : nullptr;
        }
        held_ = true;
        return pool_.front().output;
    }

    std::uint64_t skip(std::uint64_t size) override {
        giveBack();
        if (streaming()) {
            return stream_->skip(size);
        }
        // In the order of the input: blocks in the pool, blocks that are not read yet, then what is not in blocks.
        std::uint64_t done = skipInFlight(size);
        while (done < size && reading_) {
            done += guarded([&] { return skipNext(size - done); });
        }
        if (done < size) {
            endBlocks();
            if (streaming()) {
                done += stream_->skip(size - done);
            }
        }
        return done;
    }

    void expectAtMost(std::uint64_t bytes) override { expected_ = bytes; }

private:
    bool streaming() const noexcept { return stream_ != nullptr; }

    void giveBack() {
        if (std::exchange(given_, false)) {
            if (std::exchange(held_, false)) {
                pool_.front().output.reset();  // another's from now on
            }
            pop();
        }
    }

    void pop() {
        // The size that was added when the block was read. It is taken before the pool may reuse the block.
        ahead_ -= pool_.oldest().unpacked;
        pool_.pop();
        passed_ = 0;
    }

    /// Starts with few blocks, and again after a jump, so that reading little costs little. Blocks say how long
    /// they are, so that those beyond what is expected wait.
    void readAhead() {
        // ahead_ is at least passed_, so that the difference is what the caller can still get from the pool.
        while (reading_ && pool_.size() < window_ && ahead_ - passed_ <= expected_) {
            guarded([this] {
                const std::optional<std::size_t> bytes = nextBlock();
                if (bytes) {
                    ahead_ += load(*bytes);
                    start();
                }
                // The count is only for skip().
                return std::uint64_t{0};
            });
        }
        // Doubled after each call: a caller that reads on soon has all threads at work.
        window_ = std::min(window_ * 2, largestWindow_);
    }

    /// With one block in flight there is nothing to do beside it, so this thread unpacks it. A short first block
    /// is often the only one, and unpacked sooner than a thread is started.
    void start() {
        constexpr std::uint32_t shortBytes = std::uint32_t{128} << 10;
        PackedBlock& block = pool_.next();
        block.wanted = !following_ || forecast_->isWanted(position_ - block.unpacked, position_);
        if (!block.wanted || window_ == 1 || (pool_.empty() && block.unpacked < shortBytes)) {
            pool_.submitHere();
        } else {
            pool_.submit();
        }
    }

    /// A block is asked for that was not wanted: what comes after it may be read, too.
    void unpackUnforeseen(PackedBlock& block) {
        if (!block.wanted) {
            following_ = false;
            UnpackWork(place_, settings_.strict, store_).unpack(block);
        }
    }

    /// Unpacking ahead after a jump would be work for nothing where another one follows, as far as nobody knows
    /// better.
    void beginJump() {
        if (settings_.threads > 1 && settings_.forecast && !std::exchange(askedForecast_, true)) {
            forecast_ = settings_.forecast();
        }
        following_ = forecast_ != nullptr;
        window_ = following_ ? largestWindow_ : 1;
    }

    /// Keeps a failure of reading until what was read before it has been given.
    template <typename Step>
    std::uint64_t guarded(Step step) {
        try {
            return step();
        } catch (...) {
            // Not thrown here: blocks before it are sound and are delivered first. endBlocks() throws it.
            failure_ = std::current_exception();
            reading_ = false;
            return 0;
        }
    }

    /// Reads the next member's header; the bytes that follow it when it is a block, else reading ends here.
    std::optional<std::size_t> nextBlock() {
        // Kept after the end of reading too: a member that is not a block is continued from its header by
        // endBlocks().
        header_ = readGzipHeader(*input_, place_);
        std::optional<std::size_t> bytes;
        if (header_) {
            bytes = blockBytes(*header_, place_);
        }
        reading_ = bytes.has_value();
        return bytes;
    }

    /// Makes the block after header_ the pool's next, and gives its unpacked size.
    std::uint32_t load(std::size_t bytes) {
        PackedBlock& block = pool_.next();
        block.offset = header_->offset;
        // Bounded by blockBytes(), so that a length field can make this allocate some 4 MiB at most.
        block.input.reserve(bytes);
        block.input.setSize(bytes);
        // A worker reads what is not buffered yet, so that this thread is not what all of them wait for.
        block.origin.reset();
        if (input_->size() < bytes) {
            block.origin = input_->origin();
        }
        if (block.origin) {
            block.unpacked = jump(bytes);
            return block.unpacked;
        }
        if (input_->read(block.input.data(), bytes) != bytes) {
            throw truncatedError(place_, input_->offset(), "a gzip member");
        }
        block.unpacked = unpackedSize(block.input.data() + bytes - kGzipTrailerBytes);
        return block.unpacked;
    }

    /// What the block after header_ unpacks to, as its trailer says. Called once for each block.
    std::uint32_t unpackedSize(const char* trailer) {
        const std::uint32_t size = decodeTrailer(trailer).size;
        if (size > kMaximumBlockBytes) {  // guard: blocks beyond the largest
            throw damagedError(place_, memberAt(header_->offset) + ": wrong length: a block of " +
                                           std::to_string(size) + " bytes, more than " +
                                           std::to_string(kMaximumBlockBytes));
        }
        if (settings_.watch != nullptr) {
            settings_.watch->see(*header_, size);
        }
        position_ += size;
        return size;
    }

    std::uint64_t skipInFlight(std::uint64_t size) {
        std::uint64_t done = 0;
        while (done < size && !pool_.empty()) {
            // passed_ is at most the size of the oldest block.
            const std::uint64_t rest = pool_.oldest().unpacked - passed_;
            // Within this block: it stays the oldest, and its rest is given by next().
            if (size - done < rest) {
                passed_ += static_cast<std::size_t>(size - done);
                return size;
            }
            done += rest;
            pop();
        }
        return done;
    }

    /// Passes over the next block, or over the beginning of it, which is then the pool's only one.
    std::uint64_t skipNext(std::uint64_t size) {
        const std::optional<std::size_t> bytes = nextBlock();
        if (!bytes) {
            return 0;
        }
        beginJump();
        // No block is longer, so this one lies wholly inside. Its data need not be read.
        if (size >= kMaximumBlockBytes) {
            return jump(*bytes);
        }
        // Only the trailer at its end says whether the block is longer than what is to be skipped.
        const std::uint32_t unpacked = load(*bytes);
        // Read for its trailer, but never submitted: the pool uses the same buffers for the next block.
        if (unpacked <= size) {
            return unpacked;
        }
        ahead_ += unpacked;
        // The pool was empty, so that this block is its front, of which `size` bytes are passed.
        start();
        passed_ = static_cast<std::size_t>(size);
        return size;
    }

    /// Passes the block after header_ and gives its unpacked size. Only its trailer is read.
    std::uint32_t jump(std::size_t bytes) {
        char trailer[kGzipTrailerBytes];
        const std::size_t deflateBytes = bytes - sizeof trailer;
        if (input_->skip(deflateBytes) != deflateBytes ||
            input_->read(trailer, sizeof trailer) != sizeof trailer) {
            throw truncatedError(place_, input_->offset(), "a gzip member");
        }
        return unpackedSize(trailer);
    }

    /// All blocks are delivered: throws a pending failure, or goes on with a member that is not a block.
    void endBlocks() {
        // Each further call throws the same failure again.
        if (failure_) {
            std::rethrow_exception(failure_);
        }
        if (header_ && !streaming()) {
            stream_ = makeStreamDecompressor(input_, makeGzipDecoder(*input_, place_, settings_, header_),
                                             settings_.threads);
        }
    }

    const Place place_;
    const DecompressionSettings settings_;
    const std::size_t largestWindow_;
    std::size_t window_;  // blocks to have in flight
    const std::shared_ptr<Input> input_;
    std::optional<GzipHeader> header_;  // of the member read last; none at the end
    bool reading_ = true;               // blocks may follow
    bool given_ = false;                // the pool's front is the caller's
    bool held_ = false;                 // and somebody keeps its bytes
    std::size_t passed_ = 0;            // bytes of the pool's front that were skipped
    std::uint64_t ahead_ = 0;           // unpacked bytes of all blocks in the pool, at least passed_
    std::uint64_t expected_ = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t position_ = 0;  // where the next block begins in what comes out
    bool askedForecast_ = false;
    std::unique_ptr<BlockForecast> forecast_;
    bool following_ = false;      // only blocks that are wanted are unpacked ahead
    std::exception_ptr failure_;  // of reading
    BufferStore store_;
    WorkPool<PackedBlock> pool_;
    std::unique_ptr<Decompressor> stream_;  // what follows the blocks
};

}  // namespace

std::unique_ptr<Decompressor> makeGzipDecompressor(std::shared_ptr<Input> input, const Place& place,
                                                   const DecompressionSettings& settings) {
    return std::make_unique<GzipDecompressor>(std::move(input), place, settings);
}

}  // namespace bex::stream

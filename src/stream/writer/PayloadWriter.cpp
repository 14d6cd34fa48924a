#include "stream/writer/PayloadWriter.hpp"

#include <algorithm>
#include <memory>

#include "stream/base/WorkPool.hpp"
#include "stream/codec/GzipBlockWork.hpp"
#include "stream/control/Md5sums.hpp"
#include "stream/writer/BlockMaker.hpp"
#include "stream/writer/FileReader.hpp"
#include "stream/writer/PayloadCursor.hpp"

namespace bex::stream {

namespace {

using PayloadPool = WorkPool<PayloadBlock>;

/// Of a stream that is not compressed block by block: what one thread reads at a time.
constexpr std::size_t kPieceBytes = std::size_t{512} << 10;

bool isMadeOfBlocks(const CompressionSettings& settings) noexcept {
    return settings.compression == Compression::gzip && !settings.singleStream;
}

std::size_t blockBytesOf(const CompressionSettings& settings) noexcept {
    return isMadeOfBlocks(settings) ? settings.blockBytes : kPieceBytes;
}

/// Describes the pool's next block. Blocks in flight stand before it in the payload, so that their failure comes
/// first.
void describeNext(PayloadCursor& cursor, PayloadPool& pool) {
    try {
        cursor.describe(pool.next());
    } catch (...) {
        // Waits for each of them; the first that failed throws from front().
        for (; !pool.empty(); pool.pop()) {
            pool.front();
        }
        throw;
    }
}

}  // namespace

void PayloadWriter::write(Sink& out, const CompressionSettings& settings, const WriteOptions& options) {
    wantsSums_ = options.md5sums;
    if (wantsSums_) {
        md5sums_.reserve(plan_.md5sumsBytes());  // growing would take as much again for a moment
    }
    if (isMadeOfBlocks(settings)) {
        if (options.index) {
            index_ = std::make_unique<IndexBuilder>();
        }
        // The blocks come out compressed, and go to the member one after the other.
        writeBlocks(settings,
                    [&out](const PayloadBlock& block) { out.write(block.output.data(), block.output.size()); });
        writeIndex(out);
        return;
    }
    // A stream cannot be compressed in parts, so the threads only read and sum; its input goes through in order.
    stream_ = std::make_unique<CompressingSink>(out, settings);
    writeBlocks(settings,
                [this](const PayloadBlock& block) { stream_->write(block.input.data(), block.input.size()); });
}

void PayloadWriter::finish() {
    if (stream_) {
        stream_->finish();
        stream_.reset();  // its memory is large
    }
}

PayloadWriter::Work PayloadWriter::makeWork(const CompressionSettings& settings) const {
    // One maker for each worker: a FileReader keeps descriptors and a buffer.
    const auto maker = std::make_shared<BlockMaker>(plan_, collection_, system_);
    if (!isMadeOfBlocks(settings)) {
        return [maker](PayloadBlock& block) { maker->make(block); };
    }
    return [maker, compress = GzipBlockWork(settings.level)](PayloadBlock& block) {
        // In the same job: the block's bytes are still in the cache.
        maker->make(block);
        compress(block);
    };
}

void PayloadWriter::writeBlocks(const CompressionSettings& settings, const Deliver& deliver) {
    FileReader reader(collection_, system_);
    PayloadCursor cursor(plan_, reader, blockBytesOf(settings));
    PayloadPool pool(settings.threads, jobsInFlight(settings.threads), [&] { return makeWork(settings); });
    const auto deliverFront = [&] {
        const PayloadBlock& block = pool.front();
        deliver(block);
        // With one block, a reader has to unpack all of it anyway.
        if (block.offset == 0 && pool.size() == 1 && !cursor.more()) {
            index_.reset();  // the only block
        }
        take(block);
        pool.pop();
    };
    while (cursor.more()) {
        // At once when it is ready, so that its buffers are free again and the sink is kept busy.
        while (pool.full() || (!pool.empty() && pool.ready())) {
            deliverFront();
        }
        describeNext(cursor, pool);
        if (pool.empty() && !cursor.more()) {
            pool.submitHere();  // a single block needs no thread
        } else {
            pool.submit();
        }
    }
    while (!pool.empty()) {
        deliverFront();
    }
    tarBytes_ = cursor.bytes();
}

void PayloadWriter::take(const PayloadBlock& block) {
    if (wantsSums_) {
        // In the order of the plan, because blocks are taken in order: lines of md5sums need no sorting.
        for (const PayloadBlock::Sum& sum : block.sums) {
            addSum(sum);
        }
    }
    if (index_) {
        addToIndex(block);
    }
    const bool isEnd = block.firstEntry == plan_.size();  // nothing but the archive's end
    meter_.add(block.contentBytes, isEnd ? std::string() : plan_.entry(block.firstEntry).path);
}

/// With the block, the entries that begin in it.
void PayloadWriter::addToIndex(const PayloadBlock& block) {
    constexpr std::size_t mostOwnerBytes = 32;  // what a header has room for
    index_->addBlock(block.output.size(), block.input.size());
    for (; indexedEntries_ < plan_.size() && indexedBytes_ < block.end(); ++indexedEntries_) {
        Entry entry = plan_.entry(indexedEntries_);
        const EntryExtent extent(entry, indexedBytes_);
        // As the header has them: a reader builds the same index from what it reads.
        entry.owner.resize(std::min(entry.owner.size(), mostOwnerBytes));
        entry.group.resize(std::min(entry.group.size(), mostOwnerBytes));
        index_->add(entry, {extent.begin, extent.contents, extent.end});
        indexedBytes_ = extent.end;
    }
}

void PayloadWriter::writeIndex(Sink& out) {
    if (!index_) {
        return;
    }
    const std::string chain = index_->takeChain();
    if (!chain.empty()) {
        out.write(chain.data(), chain.size());
        indexBytes_ = chain.size();
        unpackedIndexBytes_ = index_->unpackedBytes();
    }
    // The index may be large; nothing needs it any more.
    index_.reset();
}

void PayloadWriter::addSum(const PayloadBlock::Sum& sum) {
    // at() cannot throw: the first name comes before its further names in the plan.
    const std::string own = sum.digest.data();
    const std::string& digest = own.empty() ? linkedDigests_.at(*plan_.linkTo(sum.entry)) : own;
    if (plan_.hasLinks(sum.entry)) {
        // Kept only where further names will ask for it.
        linkedDigests_.emplace(sum.entry, digest);
    }
    if (!plan_.isConffile(sum.entry)) {
        md5sums_ += formatMd5sum({digest, plan_.source(sum.entry).path});
    }
}

}  // namespace bex::stream

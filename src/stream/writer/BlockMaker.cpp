#include "stream/writer/BlockMaker.hpp"

#include <cstring>
#include <string>
#include <string_view>

#include "stream/base/Place.hpp"
#include "stream/tar/TarWriter.hpp"

namespace bex::stream {

namespace {

/// Ends the waiting for a block unless the block succeeds.
class Waiters {
public:
    explicit Waiters(const PayloadBlock& block) : block_(&block) {}
    ~Waiters() {
        if (block_ == nullptr) {
            // Null after succeed(): nobody waits for a block that was made.
            return;
        }
        // Both: this block may end one file and begin another.
        for (const auto& file : {block_->before, block_->after}) {
            if (file != nullptr) {
                file->fail(block_->offset);
            }
        }
    }
    Waiters(const Waiters&) = delete;
    Waiters& operator=(const Waiters&) = delete;

    void succeed() noexcept { block_ = nullptr; }

private:
    const PayloadBlock* block_;
};

void addHeaders(const Entry& entry, const EntryExtent& extent, PayloadBlock& block) {
    const PayloadBlock::Part part = block.partOf(extent.begin, extent.contents);
    // Headers may be cut by the block's edge. Both blocks make them anew and copy their part.
    if (part.size != 0) {
        const std::string headers = tarHeadersOf(entry);
        std::memcpy(part.data, headers.data() + part.offset, part.size);
    }
}

void addZeros(const PayloadBlock::Part& part) {
    std::memset(part.data, 0, part.size);
}

}  // namespace

void BlockMaker::make(PayloadBlock& block) {
    // First, so that an exception anywhere below ends the waiting of later blocks.
    Waiters waiters(block);
    whole_.clear();
    try {
        addEntries(block);
    } catch (...) {
        // Of files before the one that failed, one may have changed in secret: that is the first error then.
        sumWholeFiles(block);
        throw;
    }
    sumWholeFiles(block);
    waiters.succeed();
}

void BlockMaker::addEntries(PayloadBlock& block) {
    std::uint64_t begin = block.firstBegin;
    // begin is where the entry `index` begins, in the stream: the extents follow from the plan alone.
    for (std::size_t index = block.firstEntry; index < plan_.size() && begin < block.end(); ++index) {
        const Entry entry = plan_.entry(index);
        const EntryExtent extent(entry, begin);
        addHeaders(entry, extent, block);
        if (entry.type == EntryType::file) {
            addFile(index, extent, block);
        } else if (entry.type == EntryType::hardlink && block.completes(extent)) {
            addFurtherName(index, block);
        }
        addZeros(block.partOf(extent.contentsEnd, extent.end));
        begin = extent.end;
    }
    // What is left of the block is the archive's end, or nothing.
    addZeros(block.partOf(begin, block.end()));
}

void BlockMaker::addFile(std::size_t index, const EntryExtent& extent, PayloadBlock& block) {
    const PayloadBlock::Part part = block.partOf(extent.contents, extent.contentsEnd);
    const bool last = block.completes(extent);
    // No byte here, and not its end: the block before or after has it. An empty file is complete without a byte.
    if (part.size == 0 && !last) {
        return;
    }
    const ChangeTimes times = read(plan_.file(index), part);
    const std::string_view bytes(part.data, part.size);
    // All of the file is in this block: no other thread has a part of it.
    if (last && part.offset == 0) {
        // The sum first: whole_ must only name those that are there, also where there is no memory for either.
        block.sums.push_back({index});
        whole_.push_back({index, block.sums.size() - 1, bytes, times});
        return;
    }
    // The parts must be added in order. `before` is the file that began earlier, `after` the one that begins here.
    SpanningFile& file = part.offset != 0 ? *block.before : *block.after;
    // Blocks are begun in order, so that the parts awaited are always being worked on (OrderedSum).
    if (!file.waitFor(part.offset, block.offset)) {
        throw StreamError(ErrorKind::cancelled, "an earlier block failed");
    }
    file.add(bytes, times);
    if (last) {
        block.sums.push_back({index, file.sum.hex()});
        requireSame(index, block.sums.back().digest, file.times);
    }
}

void BlockMaker::addFurtherName(std::size_t index, PayloadBlock& block) {
    const SourceEntry& name = plan_.source(index);
    // A name that was given as a hard link is not on disk, and the first name was read itself.
    if (name.isFromDisk && &name != &plan_.file(index)) {
        reader_.checkName(name);
    }
    block.sums.push_back({index});
}

/// Contents from a caller's function have been copied by the PayloadCursor.
ChangeTimes BlockMaker::read(const SourceEntry& file, const PayloadBlock::Part& part) {
    return file.reader != nullptr ? ChangeTimes{} : reader_.readPart(file, part.offset, part.data, part.size);
}

/// All at once, which takes a fraction of the time.
void BlockMaker::sumWholeFiles(PayloadBlock& block) {
    // Before the first add(): either all are summed, or none waits in the lanes for the next block.
    lanes_.reserve(whole_.size());
    for (const WholeFile& file : whole_) {
        lanes_.add(file.contents, block.sums[file.sum].digest);
    }
    lanes_.finish();
    for (const WholeFile& file : whole_) {
        requireSame(file.index, block.sums[file.sum].digest, file.times);
    }
}

void BlockMaker::requireSame(std::size_t index, const Md5::HexDigest& digest, const ChangeTimes& times) {
    if (times.differ()) {  // guard: sources that change in secret
        reader_.requireSameContents(plan_.file(index), digest);
    }
}

}  // namespace bex::stream

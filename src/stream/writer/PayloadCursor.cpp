#include "stream/writer/PayloadCursor.hpp"

#include <utility>

namespace bex::stream {

void PayloadCursor::describe(PayloadBlock& block) {
    // All but the last block are full: the output does not depend on how files fall into blocks.
    block.input.reserve(blockBytes_);
    block.input.setSize(blockBytes_);
    block.offset = position_;
    block.firstEntry = entry_;
    block.firstBegin = entryBegin_;
    block.contentBytes = 0;
    block.sums.clear();
    // The file that went on from the block before; null when that ended with an entry.
    block.before = std::exchange(spanning_, nullptr);
    block.after = nullptr;
    // entryBegin_ is below the block's end: the entry has at least its headers, or a part of them, in it.
    while (entry_ < plan_.size() && entryBegin_ < block.end()) {
        const EntryExtent extent(plan_.entry(entry_), entryBegin_);
        enter(extent, block);
        // It goes on in the next block, which begins with it.
        if (extent.end > block.end()) {
            break;
        }
        entryBegin_ = extent.end;
        ++entry_;
    }
    // The end marks count like an entry: they may be cut by a block's edge as well, and then get a block of their
    // own.
    const std::uint64_t end = entryBegin_ + kTarEndBytes;
    if (entry_ == plan_.size() && end <= block.end()) {
        block.input.setSize(static_cast<std::size_t>(end - block.offset));
        ended_ = true;
    }
    position_ = block.end();
}

void PayloadCursor::enter(const EntryExtent& extent, PayloadBlock& block) {
    const PayloadBlock::Part part = block.partOf(extent.contents, extent.contentsEnd);
    if (part.size == 0) {
        return;
    }
    block.contentBytes += part.size;
    // The same object through all blocks of a file: it collects the sum in order.
    if (extent.contentsEnd > block.end()) {
        block.after = part.offset != 0 ? block.before : std::make_shared<SpanningFile>();
        spanning_ = block.after;
    }
    const SourceEntry& file = plan_.file(entry_);
    // Here, in the caller's thread: its function need not know of threads.
    if (file.reader != nullptr) {
        reader_.readPart(file, part.offset, part.data, part.size);
    }
}

}  // namespace bex::stream

#include "stream/writer/PayloadCursor.hpp"

#include <utility>

namespace bex::stream {

void PayloadCursor::describe(PayloadBlock& block) {
    block.input.reserve(blockBytes_);
    block.input.setSize(blockBytes_);
    block.offset = position_;
    block.firstEntry = entry_;
    block.firstBegin = entryBegin_;
    block.contentBytes = 0;
    block.sums.clear();
    block.before = std::exchange(spanning_, nullptr);
    block.after = nullptr;
    while (entry_ < plan_.size() && entryBegin_ < block.end()) {
        const EntryExtent extent(plan_.entry(entry_), entryBegin_);
        enter(extent, block);
        if (extent.end > block.end()) {
            break;
        }
        entryBegin_ = extent.end;
        ++entry_;
    }
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
    if (extent.contentsEnd > block.end()) {
        block.after = part.offset != 0 ? block.before : std::make_shared<SpanningFile>();
        spanning_ = block.after;
    }
    const SourceEntry& file = plan_.file(entry_);
    if (file.reader != nullptr) {
        reader_.readPart(file, part.offset, part.data, part.size);
    }
}

}  // namespace bex::stream

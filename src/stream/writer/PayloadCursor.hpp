#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "stream/writer/FileReader.hpp"
#include "stream/writer/PayloadBlock.hpp"
#include "stream/writer/Plan.hpp"

namespace bex::stream {

/// Cuts the tar stream of a plan into blocks: what falls into a block is known before any file is opened.
class PayloadCursor {
public:
    /// All must outlive this.
    PayloadCursor(const Plan& plan, FileReader& reader, std::size_t blockBytes)
        : plan_(plan), reader_(reader), blockBytes_(blockBytes) {}

    /// Whether blocks are left.
    bool more() const noexcept { return !ended_; }

    /// Describes the next block and makes room for its bytes. Contents that a caller's function gives are copied
    /// here: that function is called by one thread, in order. Throws what it throws.
    void describe(PayloadBlock& block);

    /// Bytes of all blocks so far.
    std::uint64_t bytes() const noexcept { return position_; }

private:
    void enter(const EntryExtent& extent, PayloadBlock& block);

    const Plan& plan_;
    FileReader& reader_;
    const std::size_t blockBytes_;
    std::uint64_t position_ = 0;
    std::size_t entry_ = 0;                   ///< the first that ends after position_
    std::uint64_t entryBegin_ = 0;            ///< where that one begins
    std::shared_ptr<SpanningFile> spanning_;  ///< the file that goes on in the next block
    bool ended_ = false;
};

}  // namespace bex::stream

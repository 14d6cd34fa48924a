#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>

#include "remote/http/Response.hpp"

namespace bex::remote {

/// Bytes of a file that will be read and are not asked for yet, in the order in which they were announced.
class RangeQueue {
public:
    bool empty() const noexcept { return ranges_.empty(); }
    const ByteRange& front() const noexcept { return ranges_.front(); }

    /// Appends a range; one that touches the last or overlaps it is joined with it.
    void add(const ByteRange& range) {
        if (!ranges_.empty() && range.first >= ranges_.back().first && range.first <= ranges_.back().last + 1) {
            ranges_.back().last = std::max(ranges_.back().last, range.last);
            return;
        }
        ranges_.push_back(range);
    }

    /// Drops what the front has before `offset`.
    void dropBefore(std::uint64_t offset) {
        if (offset > ranges_.front().last) {
            ranges_.pop_front();
        } else {
            ranges_.front().first = std::max(ranges_.front().first, offset);
        }
    }

private:
    std::deque<ByteRange> ranges_;
};

}  // namespace bex::remote

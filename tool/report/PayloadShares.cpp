#include "report/PayloadShares.hpp"

namespace bex::tool {

void PayloadShares::add(std::uint64_t size, std::uint64_t read) {
    if (size == 0) {
        return;
    }
    if (blocks_.empty() || read > read_) {
        blocks_.push_back({contents_, 0, read - read_});
        read_ = read;
    }
    blocks_.back().size += size;
    contents_ += size;
}

std::uint64_t PayloadShares::packedBefore(std::uint64_t offset) {
    while (next_ < blocks_.size() && blocks_[next_].begin + blocks_[next_].size <= offset) {
        passed_ += blocks_[next_++].packed;
    }
    if (next_ == blocks_.size()) {
        return passed_;
    }
    const Block& block = blocks_[next_];
    const double share = static_cast<double>(offset - block.begin) / static_cast<double>(block.size);
    return passed_ + static_cast<std::uint64_t>(share * static_cast<double>(block.packed));
}

}  // namespace bex::tool

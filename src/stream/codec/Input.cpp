#include "stream/codec/Input.hpp"

#include <algorithm>
#include <cstring>

namespace bex::stream {

namespace {

constexpr std::size_t kFirstRefill = std::size_t{4} << 10;
constexpr std::size_t kLargestRefill = std::size_t{128} << 10;

}  // namespace

Input::Input(ByteStream& source) : source_(source), buffer_(kUnreadBytes + kLargestRefill), refill_(kFirstRefill) {
    std::memset(buffer_.data(), 0, kUnreadBytes);
}

bool Input::fill() {
    if (position_ != end_) {
        return true;
    }
    std::memmove(buffer_.data(), buffer_.data() + end_ - kUnreadBytes, kUnreadBytes);
    position_ = end_ = kUnreadBytes;
    const std::size_t count = source_.read(buffer_.data() + kUnreadBytes, refill_);
    end_ += count;
    taken_ += count;
    refill_ = std::min(refill_ * 2, kLargestRefill);
    return count != 0;
}

std::size_t Input::read(char* to, std::size_t size) {
    std::size_t done = std::min(size, this->size());
    std::memcpy(to, data(), done);
    consume(done);
    while (done < size) {
        const std::size_t count = source_.read(to + done, size - done);
        if (count == 0) {
            break;
        }
        done += count;
        taken_ += count;
    }
    return done;
}

std::uint64_t Input::skip(std::uint64_t size) {
    const auto buffered = static_cast<std::size_t>(std::min<std::uint64_t>(size, this->size()));
    consume(buffered);
    if (buffered == size) {
        return size;
    }
    const std::uint64_t skipped = source_.skip(size - buffered);
    taken_ += skipped;
    // Whoever jumps reads little before the next jump.
    refill_ = kFirstRefill;
    return buffered + skipped;
}

}  // namespace bex::stream

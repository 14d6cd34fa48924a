#include "stream/codec/Input.hpp"

#include <algorithm>
#include <cstring>

namespace bex::stream {

namespace {

constexpr std::size_t kFirstRefill = std::size_t{4} << 10;
constexpr std::size_t kLargestRefill = std::size_t{128} << 10;

}  // namespace

Input::Input(ByteStream& source) : source_(source), buffer_(kUnreadBytes + kLargestRefill), refill_(kFirstRefill) {
    // unread() right after the first fill() must find defined bytes there.
    std::memset(buffer_.data(), 0, kUnreadBytes);
}

bool Input::fill() {
    if (position_ != end_) {
        return true;
    }
    // The last consumed bytes move to the front, where unread() finds them across this refill.
    std::memmove(buffer_.data(), buffer_.data() + end_ - kUnreadBytes, kUnreadBytes);
    position_ = end_ = kUnreadBytes;
    // refill_ is at most kLargestRefill, which is the room that the constructor left after kUnreadBytes.
    const std::size_t count = source_.read(buffer_.data() + kUnreadBytes, refill_);
    end_ += count;
    taken_ += count;
    // Small at first: of many members only the first bytes are looked at. What is read to the end soon has large
    // reads.
    refill_ = std::min(refill_ * 2, kLargestRefill);
    return count != 0;
}

std::size_t Input::read(char* to, std::size_t size) {
    const std::size_t buffered = std::min(size, this->size());
    std::memcpy(to, data(), buffered);
    consume(buffered);
    // The rest goes past the buffer, which is empty by now: a large read is not copied twice.
    const std::size_t rest = readFully(source_, to + buffered, size - buffered);
    taken_ += rest;
    return buffered + rest;
}

std::uint64_t Input::skip(std::uint64_t size) {
    // Bounded by size() and so representable as size_t, whatever a header asks for.
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

std::optional<SourceOffset> Input::origin() const {
    std::optional<SourceOffset> origin = source_.origin();
    if (origin) {
        origin->offset -= size();
    }
    return origin;
}

}  // namespace bex::stream

#include "stream/ar/MemberStream.hpp"

#include <algorithm>

namespace bex::stream {

std::size_t MemberStream::read(char* buffer, std::size_t size) {
    // Bounded by left_, which so never wraps, and by `size`: the conversion loses nothing.
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, left_));
    const std::size_t count = package_.read(buffer, wanted);
    take(count, count == 0 && wanted != 0);
    return count;
}

std::uint64_t MemberStream::skip(std::uint64_t size) {
    const std::uint64_t wanted = std::min(size, left_);
    const std::uint64_t count = package_.skip(wanted);
    take(count, count < wanted);
    return count;
}

void MemberStream::take(std::uint64_t count, bool ended) {
    left_ -= count;
    if (ended) {  // guard: members that end early
        place_.fail(ErrorKind::damaged, "ar-truncated",
                    "ends after " + std::to_string(size_ - left_) + " of " + std::to_string(size_) + " bytes");
    }
}

}  // namespace bex::stream

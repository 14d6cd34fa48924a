#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace bex::stream {

/// Where two texts begin to differ, or the length of the shorter.
inline std::size_t commonLength(std::string_view left, std::string_view right) noexcept {
    const std::size_t most = std::min(left.size(), right.size());
    std::size_t length = 0;
    // Eight bytes at a time: the paths of neighbours have most of their bytes in common.
    for (std::uint64_t a = 0, b = 0; most - length >= sizeof a; length += sizeof a) {
        std::memcpy(&a, left.data() + length, sizeof a);
        std::memcpy(&b, right.data() + length, sizeof b);
        if (a != b) {
            break;
        }
    }
    while (length < most && left[length] == right[length]) {
        ++length;
    }
    return length;
}

/// The order of the payload for paths in plainPath() form: bytewise, except that "/" comes before every other
/// byte. So a directory stands right before all that is below it.
inline bool comesBefore(std::string_view left, std::string_view right) noexcept {
    const std::size_t common = commonLength(left, right);
    if (common == left.size() || common == right.size()) {
        return left.size() < right.size();
    }
    // No path holds a NUL, so that nothing shares the rank of "/".
    const auto rank = [](char c) { return c == '/' ? 0U : static_cast<unsigned char>(c); };
    return rank(left[common]) < rank(right[common]);
}

/// Watches whether each path comes after the one before.
class PathOrder {
public:
    /// Takes the next path, in plainPath() form.
    void add(std::string plain) {
        sorted_ = sorted_ && (first_ || comesBefore(last_, plain));
        first_ = false;
        last_ = std::move(plain);
    }

    bool sorted() const noexcept { return sorted_; }

private:
    std::string last_;
    bool first_ = true;
    bool sorted_ = true;
};

}  // namespace bex::stream

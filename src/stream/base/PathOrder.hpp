#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace bex::stream {

/// The order of the payload for paths in plainPath() form: bytewise, except that "/" comes before every other
/// byte. So a directory stands right before all that is below it.
inline bool comesBefore(std::string_view left, std::string_view right) noexcept {
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
        if (left[i] != right[i]) {
            // No path holds a NUL, so that nothing shares the rank of "/".
            const auto rank = [](char c) { return c == '/' ? 0U : static_cast<unsigned char>(c); };
            return rank(left[i]) < rank(right[i]);
        }
    }
    return left.size() < right.size();
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

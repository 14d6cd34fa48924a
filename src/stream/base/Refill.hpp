#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace bex::stream {

/// Moves the bytes of the buffer from `begin` on, which no one has taken yet, to its front, and adds up to `most`
/// bytes after them by one call of read(data, size). Returns false if there are none. Places in the buffer and
/// views of it are invalid after this, and `begin` is 0.
template <typename Read>
bool refill(std::string& buffer, std::size_t& begin, std::size_t most, Read& read) {
    buffer.erase(0, begin);
    begin = 0;
    const std::size_t held = buffer.size();
    buffer.resize(held + most);
    const std::size_t count = read(buffer.data() + held, most);
    buffer.resize(held + count);
    return count != 0;
}

/// A function for refill() that reads a text, which must outlive it.
inline auto readerOfText(std::string_view text) {
    return [text](char* data, std::size_t size) mutable {
        // The view becomes shorter with each call.
        const std::size_t count = text.copy(data, size);
        text.remove_prefix(count);
        return count;
    };
}

}  // namespace bex::stream

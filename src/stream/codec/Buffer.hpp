#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace bex::stream {

/// Bytes that are not cleared before they are written. Movable, not copyable.
class Buffer {
public:
    Buffer() = default;
    explicit Buffer(std::size_t capacity) { reserve(capacity); }

    /// Makes room for `capacity` bytes; the contents are lost where that needs a new allocation.
    void reserve(std::size_t capacity) {
        if (capacity > capacity_) {
            bytes_.reset();  // first, so that old and new never stand side by side
            capacity_ = 0;
            bytes_.reset(new char[capacity]);
            capacity_ = capacity;
        }
    }

    char* data() noexcept { return bytes_.get(); }
    const char* data() const noexcept { return bytes_.get(); }
    std::size_t capacity() const noexcept { return capacity_; }

    std::size_t size() const noexcept { return size_; }
    /// At most capacity().
    void setSize(std::size_t size) noexcept { size_ = size; }

    std::string_view view() const noexcept { return {bytes_.get(), size_}; }

private:
    std::unique_ptr<char[]> bytes_;
    std::size_t capacity_ = 0;
    std::size_t size_ = 0;
};

}  // namespace bex::stream

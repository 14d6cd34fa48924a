#pragma once

#include <cstddef>
#include <cstdint>

#include "stream/codec/Buffer.hpp"
#include "stream/system/ByteStream.hpp"

namespace bex::stream {

/// What is left of a source, buffered, with a count of the bytes consumed. The source must outlive this.
class Input {
public:
    /// How many bytes just consumed from the buffer unread() can give back.
    static constexpr std::size_t kUnreadBytes = 8;

    explicit Input(ByteStream& source);

    /// Makes sure that the buffer holds a byte; false at the source's end.
    bool fill();
    /// What is buffered and not consumed.
    const char* data() const noexcept { return buffer_.data() + position_; }
    std::size_t size() const noexcept { return end_ - position_; }

    void consume(std::size_t size) noexcept { position_ += size; }
    /// Takes back the last consume() calls, across a fill() in between, up to kUnreadBytes in all.
    void unread(std::size_t size) noexcept { position_ -= size; }

    /// Copies `size` bytes, or what is left when that is less, and tells how many.
    std::size_t read(char* to, std::size_t size);
    /// Passes over up to `size` bytes and tells how many there were. What was not buffered is not read where the
    /// source can do without.
    std::uint64_t skip(std::uint64_t size);

    /// Where the next byte is, as ByteStream::origin().
    std::optional<SourceOffset> origin() const;

    /// Bytes consumed since this was made.
    std::uint64_t offset() const noexcept { return taken_ - size(); }

private:
    ByteStream& source_;
    Buffer buffer_;
    std::size_t position_ = kUnreadBytes;
    std::size_t end_ = kUnreadBytes;
    std::uint64_t taken_ = 0;  // from the source
    std::size_t refill_;
};

}  // namespace bex::stream

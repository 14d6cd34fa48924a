#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "bex/stream/StreamError.hpp"
#include "stream/system/ByteStream.hpp"

namespace bex::test {

/// Reads from bytes in memory, at most `step` of them a call, and counts what was really read. A broken one fails
/// behind its bytes.
class MemoryStream : public stream::ByteStream {
public:
    enum class Kind { seekable, pipe, broken };

    explicit MemoryStream(std::string bytes, std::size_t step = std::numeric_limits<std::size_t>::max(),
                          Kind kind = Kind::seekable)
        : bytes_(std::move(bytes)), step_(step), kind_(kind) {}

    std::size_t read(char* buffer, std::size_t size) override {
        const std::size_t count = std::min({size, step_, bytes_.size() - position_});
        if (count == 0 && kind_ == Kind::broken) {
            throw stream::StreamError(stream::ErrorKind::inputOutput, "disk: broken");
        }
        std::memcpy(buffer, bytes_.data() + position_, count);
        position_ += count;
        bytesRead_ += count;
        return count;
    }

    std::uint64_t skip(std::uint64_t size) override {
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(size, bytes_.size() - position_));
        position_ += count;
        bytesRead_ += kind_ == Kind::pipe ? count : 0;
        return count;
    }

    std::uint64_t bytesRead() const { return bytesRead_; }

private:
    std::string bytes_;
    std::size_t step_;
    Kind kind_;
    std::size_t position_ = 0;
    std::uint64_t bytesRead_ = 0;
};

}  // namespace bex::test

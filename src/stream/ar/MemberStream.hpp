#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "stream/base/Place.hpp"
#include "stream/system/ByteStream.hpp"

namespace bex::stream {

/// The next `size` bytes of another source, which must outlive this. Where that ends too early, reading throws
/// StreamError: a package that is cut short, before it was opened or while it is read.
class MemberStream final : public ByteStream {
public:
    MemberStream(ByteStream& package, std::uint64_t size, Place place)
        : package_(package), size_(size), left_(size), place_(std::move(place)) {}

    std::size_t read(char* buffer, std::size_t size) override {
        // Bounded by left_, which so never wraps, and by `size`: the conversion loses nothing.
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, left_));
        const std::size_t count = package_.read(buffer, wanted);
        take(count, count == 0 && wanted != 0);
        return count;
    }

    std::uint64_t skip(std::uint64_t size) override {
        const std::uint64_t wanted = std::min(size, left_);
        const std::uint64_t count = package_.skip(wanted);
        take(count, count < wanted);
        return count;
    }

    std::uint64_t left() const noexcept { return left_; }
    std::optional<SourceOffset> origin() const override { return package_.origin(); }

private:
    void take(std::uint64_t count, bool ended) {
        left_ -= count;
        if (ended) {  // guard: members that end early
            place_.fail(ErrorKind::damaged, "ar-truncated",
                        "ends after " + std::to_string(size_ - left_) + " of " + std::to_string(size_) + " bytes");
        }
    }

    ByteStream& package_;
    std::uint64_t size_;
    std::uint64_t left_;
    Place place_;
};

}  // namespace bex::stream

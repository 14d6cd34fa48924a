#pragma once

#include "stream/base/Place.hpp"
#include "stream/system/ByteStream.hpp"

namespace bex::stream {

/// The next `size` bytes of another source, which must outlive this. Where that ends too early, reading throws
/// StreamError: a package that is cut short, before it was opened or while it is read.
class MemberStream final : public ByteStream {
public:
    MemberStream(ByteStream& package, std::uint64_t size, Place place)
        : package_(package), size_(size), left_(size), place_(std::move(place)) {}

    std::size_t read(char* buffer, std::size_t size) override;
    std::uint64_t skip(std::uint64_t size) override;
    std::optional<std::uint64_t> left() const override { return left_; }
    std::optional<SourceOffset> origin() const override { return package_.origin(); }

private:
    void take(std::uint64_t count, bool ended);

    ByteStream& package_;
    std::uint64_t size_;
    std::uint64_t left_;
    Place place_;
};

}  // namespace bex::stream

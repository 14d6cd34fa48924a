#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "stream/base/Place.hpp"
#include "stream/codec/Decompressor.hpp"

namespace bex::stream {

/// How many bytes may come out of a member.
struct ByteLimit {
    std::uint64_t bytes = 0;
    std::string field;    ///< of Limits, that says so
    std::string meaning;  ///< ends the message: "unpacks to more than N bytes (MEANING)"
};

/// Throws StreamError (`limitExceeded`) before more than a limit comes out of a member. At most one block beyond
/// the limit is unpacked in vain.
class BoundedDecompressor final : public Decompressor {
public:
    BoundedDecompressor(std::unique_ptr<Decompressor> inner, ByteLimit limit, Place place)
        : inner_(std::move(inner)), limit_(std::move(limit)), place_(std::move(place)) {}

    std::string_view next() override {
        inner_->expectAtMost(limit_.bytes - counted_);
        const std::string_view bytes = inner_->next();
        require(bytes.size());
        counted_ += bytes.size();
        return bytes;
    }

    std::shared_ptr<const void> hold() override { return inner_->hold(); }

    /// Refuses at once what would lead beyond the limit: skipping it would unpack as much as reading it.
    std::uint64_t skip(std::uint64_t size) override {
        require(size);
        const std::uint64_t skipped = inner_->skip(size);
        counted_ += skipped;
        return skipped;
    }

    /// Raises the limit.
    void allow(std::uint64_t bytes) noexcept {
        limit_.bytes += std::min(bytes, std::numeric_limits<std::uint64_t>::max() - limit_.bytes);
    }

private:
    void require(std::uint64_t bytes) const {
        if (bytes > limit_.bytes - counted_) {  // guard: bytes out of a member
            place_.failLimit(limit_.field, "unpacks to more than " + std::to_string(limit_.bytes) + " bytes (" +
                                               limit_.meaning + ")");
        }
    }

    std::unique_ptr<Decompressor> inner_;
    ByteLimit limit_;
    std::uint64_t counted_ = 0;
    Place place_;
};

}  // namespace bex::stream

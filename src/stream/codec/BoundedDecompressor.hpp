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

/// Lets no more than a limit come out of a member: StreamError (`limitExceeded`) beyond it.
class BoundedDecompressor final : public Decompressor {
public:
    BoundedDecompressor(std::unique_ptr<Decompressor> inner, ByteLimit limit, Place place)
        : inner_(std::move(inner)), limit_(std::move(limit)), place_(std::move(place)) {}

    std::string_view next() override {
        const std::string_view bytes = inner_->next();
        count(bytes.size());
        return bytes;
    }

    std::uint64_t skip(std::uint64_t size) override {
        const std::uint64_t skipped = inner_->skip(size);
        count(skipped);
        return skipped;
    }

    /// Holds bytes that only come to be by unpacking, such as holes, against the same limit.
    void count(std::uint64_t bytes) {
        if (bytes > limit_.bytes - counted_) {  // guard: bytes out of a member
            place_.failLimit(limit_.field, "unpacks to more than " + std::to_string(limit_.bytes) + " bytes (" +
                                               limit_.meaning + ")");
        }
        counted_ += bytes;
    }

    /// Raises the limit.
    void allow(std::uint64_t bytes) noexcept {
        limit_.bytes += std::min(bytes, std::numeric_limits<std::uint64_t>::max() - limit_.bytes);
    }

private:
    std::unique_ptr<Decompressor> inner_;
    ByteLimit limit_;
    std::uint64_t counted_ = 0;
    Place place_;
};

}  // namespace bex::stream

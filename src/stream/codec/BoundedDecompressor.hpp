#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "stream/base/Fault.hpp"
#include "stream/codec/Decompressor.hpp"

namespace bex::stream {

/// Lets no more than a limit come out of a member: PackageFault (`limitExceeded`) beyond it.
class BoundedDecompressor final : public Decompressor {
public:
    /// `limit` in bytes; `meaning` ends the message: "unpacks to more than N bytes (MEANING)".
    BoundedDecompressor(std::unique_ptr<Decompressor> inner, std::uint64_t limit, std::string meaning,
                        Faults faults)
        : inner_(std::move(inner)), limit_(limit), meaning_(std::move(meaning)), faults_(std::move(faults)) {}

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
        if (bytes > limit_ - counted_) {
            faults_.fail(ErrorKind::limitExceeded, "limit",
                         "unpacks to more than " + std::to_string(limit_) + " bytes (" + meaning_ + ")");
        }
        counted_ += bytes;
    }

    /// Raises the limit.
    void allow(std::uint64_t bytes) noexcept {
        limit_ += std::min(bytes, std::numeric_limits<std::uint64_t>::max() - limit_);
    }

private:
    std::unique_ptr<Decompressor> inner_;
    std::uint64_t limit_;
    std::uint64_t counted_ = 0;
    std::string meaning_;
    Faults faults_;
};

}  // namespace bex::stream

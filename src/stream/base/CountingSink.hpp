#pragma once

#include <cstdint>

#include "bex/stream/Sink.hpp"

namespace bex::stream {

/// Counts what goes through it to another sink, which must outlive it.
class CountingSink final : public Sink {
public:
    explicit CountingSink(Sink& out) : out_(out) {}
    void write(const char* data, std::size_t size) override {
        bytes_ += size;
        out_.write(data, size);
    }
    std::uint64_t bytes() const noexcept { return bytes_; }

private:
    Sink& out_;
    std::uint64_t bytes_ = 0;
};

}  // namespace bex::stream

#pragma once

#include <utility>

#include "stream/system/System.hpp"

namespace bex::stream {

/// Owns an open descriptor. Close reports nothing: whoever must know that the bytes arrived calls fsync first.
class Descriptor {
public:
    Descriptor() = default;
    Descriptor(int number, System& system) noexcept : number_(number), system_(&system) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)), system_(other.system_) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        std::swap(system_, other.system_);
        return *this;
    }
    ~Descriptor() {
        if (number_ >= 0) {
            system_->close(number_);
        }
    }

    explicit operator bool() const noexcept { return number_ >= 0; }
    int get() const noexcept { return number_; }
    int release() noexcept { return std::exchange(number_, -1); }

private:
    int number_ = -1;
    System* system_ = nullptr;
};

}  // namespace bex::stream

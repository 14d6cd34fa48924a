#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace bex::shlibs {

/// Owns a file descriptor.
class Descriptor {
public:
    explicit Descriptor(int number = -1) noexcept : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) {
            ::close(number_);  // Only read from: there is nothing that a close could lose.
        }
    }
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    explicit operator bool() const noexcept { return number_ >= 0; }
    int get() const noexcept { return number_; }

private:
    int number_;
};

/// Reads up to `size` bytes from `offset` on and gives how many there were. `name` stands for the file in the
/// StreamError
/// (`inputOutput`) that it throws.
std::size_t readAt(int descriptor, char* buffer, std::size_t size, std::uint64_t offset, const std::string& name);

}  // namespace bex::shlibs

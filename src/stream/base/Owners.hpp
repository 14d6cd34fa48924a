#pragma once

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <type_traits>
#include <utility>

namespace bex::stream {

/// Owns an open descriptor and closes it by `Close`, a function object. The close reports nothing: a caller that
/// must know that the bytes arrived calls fsync first, or closes what release() returns.
template <typename Close>
class OwnedDescriptor {
public:
    OwnedDescriptor() = default;
    /// `number` may be negative, as a call that failed returns it.
    OwnedDescriptor(int number, Close close) noexcept : number_(number), close_(close) {}
    /// For a `Close` that knows all it needs.
    template <typename Known = Close, typename = std::enable_if_t<std::is_empty_v<Known>>>
    explicit OwnedDescriptor(int number) noexcept : OwnedDescriptor(number, Close()) {}
    OwnedDescriptor(OwnedDescriptor&& other) noexcept
        : number_(std::exchange(other.number_, -1)), close_(other.close_) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        std::swap(close_, other.close_);
        return *this;
    }
    ~OwnedDescriptor() {
        if (number_ >= 0) {
            close_(number_);
        }
    }

    explicit operator bool() const noexcept { return number_ >= 0; }
    int get() const noexcept { return number_; }
    int release() noexcept { return std::exchange(number_, -1); }

private:
    int number_ = -1;
    Close close_ = Close();
};

struct ClosePlainly {
    void operator()(int number) const noexcept { ::close(number); }
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
    void operator()(DIR* directory) const noexcept { ::closedir(directory); }
};

// For code whose calls of the operating system no test replaces; the streaming library itself closes through
// System.
using PlainDescriptor = OwnedDescriptor<ClosePlainly>;
using PlainFile = std::unique_ptr<std::FILE, ClosePlainly>;
using PlainDirectory = std::unique_ptr<DIR, ClosePlainly>;

}  // namespace bex::stream

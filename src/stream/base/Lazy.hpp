#pragma once

#include <mutex>
#include <optional>

namespace bex::stream {

/// A value that is made when it is first asked for, by one thread while the others wait. Where making it throws,
/// the next caller makes it again: std::call_once would leave him waiting for ever on some C libraries and under
/// ThreadSanitizer.
template <class Value>
class Lazy {
public:
    /// The value, which `make()` returns the first time.
    template <class Make>
    const Value& get(Make&& make) {
        const std::lock_guard lock(mutex_);
        if (!value_) {
            value_.emplace(make());
        }
        return *value_;
    }

private:
    std::mutex mutex_;  // guards value_ until it is made; it never changes afterwards
    std::optional<Value> value_;
};

}  // namespace bex::stream

#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>

namespace bex::stream {

/// Owns the state of a coder of a C library, with its memory and threads, which `End` gives back. Zeros at first,
/// as the libraries ask for; `End` accepts them, too. Not copied: a coder may keep the address.
template <typename State, auto End>
class CoderState {
public:
    CoderState() = default;
    ~CoderState() { End(&state_); }
    CoderState(const CoderState&) = delete;
    CoderState& operator=(const CoderState&) = delete;

    State* get() noexcept { return &state_; }
    State* operator->() noexcept { return &state_; }

private:
    State state_{};
};

/// As many of the bytes as a coder that counts in 32 bits can be offered at once. What is left out comes with the
/// next step.
constexpr unsigned clamped(std::size_t size) noexcept {
    return static_cast<unsigned>(std::min<std::size_t>(size, std::numeric_limits<unsigned>::max()));
}

}  // namespace bex::stream

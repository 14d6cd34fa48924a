#include <isa-l/igzip_lib.h>

#include <cstdint>

#include "stream/codec/CoderState.hpp"
#include "stream/codec/Inflater.hpp"

namespace bex::stream {

namespace {

class IsalInflater final : public Inflater {
public:
    IsalInflater() { isal_inflate_init(&state_); }

    void begin() override { isal_inflate_reset(&state_); }

    Step inflate(std::string_view data, char* buffer, std::size_t room) override {
        state_.next_in = reinterpret_cast<std::uint8_t*>(const_cast<char*>(data.data()));  // only read
        const std::uint32_t offered = clamped(data.size());
        state_.avail_in = offered;
        state_.next_out = reinterpret_cast<std::uint8_t*>(buffer);
        const std::uint32_t free = clamped(room);
        state_.avail_out = free;
        const bool valid = isal_inflate(&state_) >= 0;
        Step step{State::open, offered - state_.avail_in, free - state_.avail_out};
        if (!valid) {
            step.state = State::invalid;
            // Only the last deflate block's end sets this state, and only with all output given.
        } else if (state_.block_state == ISAL_BLOCK_FINISH) {
            step.state = State::ended;
            // ISA-L loads input into a 64-bit register: at most 8 bytes, as Input::kUnreadBytes allows.
            step.unused = static_cast<std::size_t>(state_.read_in_length) / 8;  // whole bytes of those bits
        }
        return step;
    }

private:
    inflate_state state_{};
};

}  // namespace

std::unique_ptr<Inflater> makeIsalInflater() {
    return std::make_unique<IsalInflater>();
}

}  // namespace bex::stream

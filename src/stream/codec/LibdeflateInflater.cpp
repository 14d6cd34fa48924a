#include <libdeflate.h>

#include <new>

#include "stream/codec/Inflater.hpp"

namespace bex::stream {

namespace {

struct FreeDecompressor {
    void operator()(libdeflate_decompressor* d) const noexcept { libdeflate_free_decompressor(d); }
};

class LibdeflateInflater final : public Inflater {
public:
    LibdeflateInflater() : decompressor_(libdeflate_alloc_decompressor()) {
        if (!decompressor_) {
            throw std::bad_alloc();
        }
    }

    // Nothing to reset: libdeflate keeps no state from one call to the next.
    void begin() override {}

    Step inflate(std::string_view data, char* buffer, std::size_t room) override {
        Step step;
        // With `_ex` and both counts: data after the stream's end is no error, and the caller compares what was
        // consumed.
        switch (libdeflate_deflate_decompress_ex(decompressor_.get(), data.data(), data.size(), buffer, room,
                                                 &step.consumed, &step.produced)) {
            case LIBDEFLATE_SUCCESS:
                step.state = State::ended;
                return step;
            case LIBDEFLATE_INSUFFICIENT_SPACE:
                return {State::open, data.size(), room};
            default:
                return {};
        }
    }

private:
    const std::unique_ptr<libdeflate_decompressor, FreeDecompressor> decompressor_;
};

}  // namespace

std::unique_ptr<Inflater> makeLibdeflateInflater() {
    return std::make_unique<LibdeflateInflater>();
}

}  // namespace bex::stream

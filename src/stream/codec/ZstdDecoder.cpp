#include <zstd.h>
#include <zstd_errors.h>

#include <new>
#include <utility>

#include "stream/base/Place.hpp"
#include "stream/codec/CodecError.hpp"
#include "stream/codec/StreamDecoder.hpp"

namespace bex::stream {

namespace {

struct FreeContext {
    void operator()(ZSTD_DCtx* context) const noexcept { ZSTD_freeDCtx(context); }
};

constexpr std::size_t kMagicBytes = 4;
constexpr std::uint32_t kFrameMagic = 0xfd2fb528;
constexpr std::uint32_t kSkippableMagic = 0x184d2a50;  // the lowest four bits are free
constexpr std::uint32_t kSkippableMask = 0xfffffff0;

/// One frame, RFC 8878. What a row of them, or one that is skipped, would add, dpkg-deb 1.21 leaves out in
/// silence.
class ZstdDecoder final : public StreamDecoder {
public:
    ZstdDecoder(Input& input, Place place, const Limits& limits)
        // guard(31): the window of zstd
        : input_(input), place_(std::move(place)), windowLog_(limits.zstdWindowLog), context_(ZSTD_createDCtx()) {
        if (!context_) {
            throw std::bad_alloc();
        }
        // The frame's header names its window, and the library allocates it. The limit is set before the first
        // byte is read.
        if (ZSTD_isError(ZSTD_DCtx_setParameter(context_.get(), ZSTD_d_windowLogMax, windowLog_)) != 0) {
            throw invalidInput("", "limit zstdWindowLog of " + std::to_string(windowLog_) + " is out of range");
        }
    }

    std::size_t fill(char* buffer, std::size_t size) override {
        ZSTD_outBuffer out{buffer, size, 0};
        while (out.pos < out.size && (inFrame_ || beginFrame(out))) {
            // At the input's end the decoder may still hold back output.
            input_.fill();
            ZSTD_inBuffer in{input_.data(), input_.size(), 0};
            const std::size_t before = out.pos;
            step(out, in);
            input_.consume(in.pos);
            // The source is at its end, the frame is not, and no step was possible with what was left.
            if (inFrame_ && in.pos == 0 && out.pos == before) {
                throw truncatedError(place_, input_.offset(), "a zstd frame");
            }
        }
        return out.pos;
    }

private:
    /// False at the end. The magic number is checked here, so that the library's older formats stay out of reach.
    bool beginFrame(ZSTD_outBuffer& out) {
        // An empty input is not the end of a stream, but a truncated one.
        if (input_.offset() != 0 && !input_.fill()) {
            return false;
        }
        unsigned char bytes[kMagicBytes];
        if (input_.read(reinterpret_cast<char*>(bytes), sizeof bytes) != sizeof bytes) {
            throw truncatedError(place_, input_.offset(), "a zstd frame");
        }
        const std::uint32_t magic = bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
                                    std::uint32_t{bytes[3]} << 24;
        const std::uint64_t offset = input_.offset() - kMagicBytes;
        // Compared before the general case below: these are valid zstd, but readers differ in what they do with
        // them.
        if ((magic == kFrameMagic && offset != 0) || (magic & kSkippableMask) == kSkippableMagic) {
            throw furtherError(place_, offset, "zstd frame");
        }
        if (magic != kFrameMagic) {
            throw damagedError(
                place_, offset == 0 ? "is not a zstd stream"
                                    : "byte " + std::to_string(offset) + ": data after the last zstd frame");
        }
        // The library needs the magic number as well, and it is no longer in the input. Four bytes give no output
        // yet.
        ZSTD_inBuffer in{bytes, sizeof bytes, 0};
        step(out, in);
        inFrame_ = true;
        return true;
    }

    void step(ZSTD_outBuffer& out, ZSTD_inBuffer& in) {
        const std::size_t result = ZSTD_decompressStream(context_.get(), &out, &in);
        if (ZSTD_isError(result) != 0) {
            fail(result);
        }
        // 0 only at the end of a frame, when the checksum has been compared and all output given.
        inFrame_ = result != 0;
    }

    [[noreturn]] void fail(std::size_t result) const {
        const std::string at = " near byte " + std::to_string(input_.offset());
        switch (ZSTD_getErrorCode(result)) {
            case ZSTD_error_memory_allocation:
                throw std::bad_alloc();
            case ZSTD_error_frameParameter_windowTooLarge:
                place_.failLimit("zstdWindowLog",
                                 "a zstd frame asks for a window beyond the limit zstdWindowLog of " +
                                     std::to_string(windowLog_));
            case ZSTD_error_checksum_wrong:
                throw damagedError(place_, "wrong checksum of the zstd frame that ends" + at);
            case ZSTD_error_dictionary_wrong:
                throw unsupportedError(place_, "a zstd frame needs a dictionary");
            default:
                throw damagedError(place_,
                                   std::string("invalid zstd data (") + ZSTD_getErrorName(result) + ")" + at);
        }
    }

    Input& input_;
    const Place place_;
    const int windowLog_;
    const std::unique_ptr<ZSTD_DCtx, FreeContext> context_;
    bool inFrame_ = false;
};

}  // namespace

std::unique_ptr<StreamDecoder> makeZstdDecoder(Input& input, const Place& place, const Limits& limits) {
    return std::make_unique<ZstdDecoder>(input, place, limits);
}

}  // namespace bex::stream

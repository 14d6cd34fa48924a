#include <lzma.h>

#include <new>
#include <string>

#include "stream/base/Place.hpp"
#include "stream/codec/Buffer.hpp"
#include "stream/codec/CoderState.hpp"
#include "stream/codec/Encoder.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kOutputBytes = std::size_t{64} << 10;
constexpr std::uint64_t kMemoryBytes = std::uint64_t{1} << 30;

class XzEncoder final : public Encoder {
public:
    XzEncoder(Sink& out, const CompressionSettings& settings) : out_(out), output_(kOutputBytes) {
        lzma_mt options{};
        options.preset = static_cast<std::uint32_t>(settings.level);
        options.check = LZMA_CHECK_CRC64;
        // Block boundaries depend on the preset alone, so the bytes are the same for any number of threads; one
        // thread goes the same way for that reason.
        options.threads = settings.threads;
        // Fewer threads in place of an error. One thread is used whatever it needs.
        while (options.threads > 1 && lzma_stream_encoder_mt_memusage(&options) > kMemoryBytes) {
            --options.threads;
        }
        check(lzma_stream_encoder_mt(stream_.get(), &options));
    }

    void write(const char* data, std::size_t size) override {
        stream_->next_in = reinterpret_cast<const std::uint8_t*>(data);
        stream_->avail_in = size;
        // Until all is taken: `data` is not kept after this call.
        while (stream_->avail_in != 0) {
            code(LZMA_RUN);
        }
    }

    void finish() override {
        while (code(LZMA_FINISH) != LZMA_STREAM_END) {
        }
    }

private:
    lzma_ret code(lzma_action action) {
        stream_->next_out = reinterpret_cast<std::uint8_t*>(output_.data());
        stream_->avail_out = output_.capacity();
        const lzma_ret result = lzma_code(stream_.get(), action);
        check(result);
        // Possibly 0 bytes: the threads collect a whole block before its first byte comes out.
        out_.write(output_.data(), output_.capacity() - stream_->avail_out);
        return result;
    }

    static void check(lzma_ret result) {
        if (result == LZMA_MEM_ERROR) {
            throw std::bad_alloc();
        }
        if (result != LZMA_OK && result != LZMA_STREAM_END) {
            throw StreamError(ErrorKind::inputOutput,
                              "can't compress with xz: liblzma error " + std::to_string(result));
        }
    }

    Sink& out_;
    Buffer output_;
    CoderState<lzma_stream, lzma_end> stream_;
};

}  // namespace

std::unique_ptr<Encoder> makeXzEncoder(Sink& out, const CompressionSettings& settings) {
    return std::make_unique<XzEncoder>(out, settings);
}

}  // namespace bex::stream

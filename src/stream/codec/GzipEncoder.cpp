#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>

#include "stream/codec/Buffer.hpp"
#include "stream/codec/Encoder.hpp"

namespace bex::stream {

namespace {

constexpr int kGzipFormat = 16;  // added to the logarithm of the window
constexpr int kMemoryLevel = 8;
constexpr int kUnknownSystem = 255;  // so that the bytes are the same everywhere
constexpr std::size_t kOutputBytes = std::size_t{64} << 10;

class GzipEncoder final : public Encoder {
public:
    GzipEncoder(Sink& out, int level) : out_(out), output_(kOutputBytes) {
        if (deflateInit2(&stream_, level, Z_DEFLATED, MAX_WBITS + kGzipFormat, kMemoryLevel, Z_DEFAULT_STRATEGY) !=
            Z_OK) {
            throw std::bad_alloc();  // the level was checked before
        }
        // RFC 1952, 2.3.1. Left alone, zlib would write the system that it was built for. The time stays 0, which
        // means none.
        header_.os = kUnknownSystem;
        // zlib keeps the address until the header is written: `header_` is a member, and this class is not copied.
        deflateSetHeader(&stream_, &header_);
    }
    ~GzipEncoder() override { deflateEnd(&stream_); }

    void write(const char* data, std::size_t size) override {
        while (size != 0) {
            // uInt has 32 bits, size_t 64.
            const auto part = static_cast<uInt>(std::min<std::size_t>(size, std::numeric_limits<uInt>::max()));
            stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));  // zlib does not write to it
            stream_.avail_in = part;
            // Ends only when zlib has taken all: `data` is the caller's and is not kept after this call.
            while (stream_.avail_in != 0) {
                step(Z_NO_FLUSH);
            }
            data += part;
            size -= part;
        }
    }

    void finish() override {
        // Each step empties the output buffer, so that zlib always makes progress until the trailer is out.
        while (step(Z_FINISH) != Z_STREAM_END) {
        }
    }

private:
    /// Neither call can fail: the stream is sound and there is room for output.
    int step(int flush) {
        stream_.next_out = reinterpret_cast<Bytef*>(output_.data());
        stream_.avail_out = static_cast<uInt>(output_.capacity());
        const int state = deflate(&stream_, flush);
        const std::size_t count = output_.capacity() - stream_.avail_out;
        if (count != 0) {
            out_.write(output_.data(), count);
        }
        return state;
    }

    Sink& out_;
    Buffer output_;
    gz_header header_ = {};
    z_stream stream_ = {};
};

}  // namespace

std::unique_ptr<Encoder> makeGzipEncoder(Sink& out, const CompressionSettings& settings) {
    return std::make_unique<GzipEncoder>(out, settings.level);
}

}  // namespace bex::stream

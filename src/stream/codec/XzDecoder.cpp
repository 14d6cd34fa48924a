#include <lzma.h>

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

#include "stream/codec/CodecError.hpp"
#include "stream/codec/CoderState.hpp"
#include "stream/codec/StreamDecoder.hpp"

namespace bex::stream {

namespace {

constexpr char kFirstByte = '\xfd';
constexpr std::uint64_t kPaddingBytes = 4;

/// One stream. With threads, liblzma unpacks as many blocks at a time as fit into the memory limit; a stream whose
/// blocks do not say how long they are is unpacked by one thread.
class XzDecoder final : public StreamDecoder {
public:
    XzDecoder(Input& input, Place place, const DecompressionSettings& settings)
        : input_(input),
          place_(std::move(place)),
          // guard(UINT64_MAX): working memory of xz
          memoryLimit_(std::max<std::uint64_t>(settings.limits.xzMemoryBytes, 1)) {
        // A second stream is refused by requireEnd(), so LZMA_CONCATENATED is not asked for. Without
        // LZMA_TELL_UNSUPPORTED_CHECK liblzma would skip a check that it does not know, and damage would pass.
        check(settings.threads > 1 && !settings.gradual
                  ? beginThreads(settings.threads)
                  : lzma_stream_decoder(stream_.get(), memoryLimit_, LZMA_TELL_UNSUPPORTED_CHECK));
    }

    std::size_t fill(char* buffer, std::size_t size) override {
        stream_->next_out = reinterpret_cast<std::uint8_t*>(buffer);
        stream_->avail_out = size;
        while (stream_->avail_out != 0 && !ended_) {
            const bool more = input_.fill();
            stream_->next_in = reinterpret_cast<const std::uint8_t*>(input_.data());
            stream_->avail_in = input_.size();
            // LZMA_FINISH at the source's end: liblzma then reports a stream that is cut off (LZMA_BUF_ERROR).
            const lzma_ret result = lzma_code(stream_.get(), more ? LZMA_RUN : LZMA_FINISH);
            // Before check() throws, so that the byte in its message is the one that was reached.
            input_.consume(input_.size() - stream_->avail_in);
            check(result);
            ended_ = result == LZMA_STREAM_END;
        }
        // fill() returns fewer bytes only when everything has been checked, and that includes what follows the
        // stream.
        if (ended_) {
            requireEnd();
        }
        return size - stream_->avail_out;
    }

private:
    lzma_ret beginThreads(unsigned threads) {
        constexpr unsigned most = 1024;  // liblzma refuses more than 16384, and each takes room for its state
        lzma_mt options{};
        options.flags = LZMA_TELL_UNSUPPORTED_CHECK;
        options.threads = std::min(threads, most);
        options.memlimit_threading = memoryLimit_;
        options.memlimit_stop = memoryLimit_;
        return lzma_stream_decoder_mt(stream_.get(), &options);
    }

    /// Only padding may follow: a multiple of four zero bytes ("Stream Padding" in section 2 of the xz file
    /// format).
    void requireEnd() {
        const std::uint64_t begin = input_.offset();
        while (input_.fill()) {
            const std::string_view rest(input_.data(), input_.size());
            const std::size_t zeros = std::min(rest.find_first_not_of('\0'), rest.size());
            input_.consume(zeros);
            if (zeros != rest.size()) {
                if (rest[zeros] == kFirstByte) {
                    throw furtherError(place_, input_.offset(), "xz stream");
                }
                throw invalidEnd();
            }
        }
        if ((input_.offset() - begin) % kPaddingBytes != 0) {
            throw invalidEnd();
        }
    }

    void check(lzma_ret result) {
        switch (result) {
            case LZMA_OK:
            case LZMA_STREAM_END:
                return;
            case LZMA_MEM_ERROR:
                throw std::bad_alloc();
            case LZMA_BUF_ERROR:
                throw truncatedError(place_, input_.offset(), "an xz stream");
            case LZMA_MEMLIMIT_ERROR:
                // How much it needs is not said: with threads liblzma gives another figure.
                place_.failLimit("xzMemoryBytes", "unpacking needs more memory than the limit xzMemoryBytes of " +
                                                      std::to_string(memoryLimit_) + " bytes");
            case LZMA_OPTIONS_ERROR:
            case LZMA_UNSUPPORTED_CHECK:
                throw unsupportedError(place_, "xz with a filter or check that is not known");
            case LZMA_FORMAT_ERROR:
                throw damagedError(place_, "is not an xz stream");
            default:
                throw invalid();
        }
    }

    /// Inside the stream no byte is named: how much of the input has been read by then depends on the threads.
    StreamError invalid(const std::string& where = "") const {
        return damagedError(place_, "invalid xz data, wrong checksum or data after the last xz stream" + where);
    }

    StreamError invalidEnd() const { return invalid(" before byte " + std::to_string(input_.offset())); }

    Input& input_;
    const Place place_;
    const std::uint64_t memoryLimit_;
    CoderState<lzma_stream, lzma_end> stream_;
    bool ended_ = false;
};

}  // namespace

std::unique_ptr<StreamDecoder> makeXzDecoder(Input& input, const Place& place,
                                             const DecompressionSettings& settings) {
    return std::make_unique<XzDecoder>(input, place, settings);
}

}  // namespace bex::stream

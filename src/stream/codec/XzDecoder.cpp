#include <lzma.h>

#include <algorithm>
#include <new>
#include <utility>

#include "stream/codec/CodecError.hpp"
#include "stream/codec/Lzma.hpp"
#include "stream/codec/StreamDecoder.hpp"

namespace bex::stream {
namespace {

/// The single-threaded decoder of liblzma: it needs a fraction of the threaded one's memory.
class XzDecoder final : public StreamDecoder {
public:
    XzDecoder(Input& input, std::string name, const Limits& limits)
        : input_(input), name_(std::move(name)), memoryLimit_(std::max<std::uint64_t>(limits.xzMemoryBytes, 1)) {
        check(lzma_stream_decoder(stream_.get(), memoryLimit_, LZMA_CONCATENATED | LZMA_TELL_UNSUPPORTED_CHECK));
    }

    std::size_t fill(char* buffer, std::size_t size) override {
        stream_->next_out = reinterpret_cast<std::uint8_t*>(buffer);
        stream_->avail_out = size;
        while (stream_->avail_out != 0 && !ended_) {
            const bool more = input_.fill();
            stream_->next_in = reinterpret_cast<const std::uint8_t*>(input_.data());
            stream_->avail_in = input_.size();
            const lzma_ret result = lzma_code(stream_.get(), more ? LZMA_RUN : LZMA_FINISH);
            input_.consume(input_.size() - stream_->avail_in);
            check(result);
            ended_ = result == LZMA_STREAM_END;
        }
        return size - stream_->avail_out;
    }

private:
    void check(lzma_ret result) {
        switch (result) {
            case LZMA_OK:
            case LZMA_STREAM_END:
                return;
            case LZMA_MEM_ERROR:
                throw std::bad_alloc();
            case LZMA_BUF_ERROR:
                throw truncatedError(name_, input_.offset(), "an xz stream");
            case LZMA_MEMLIMIT_ERROR:
                throw StreamError(ErrorKind::limitExceeded,
                                  name_ + ": unpacking needs " + std::to_string(lzma_memusage(stream_.get())) +
                                      " bytes of memory, more than the limit xzMemoryBytes of " +
                                      std::to_string(memoryLimit_));
            case LZMA_OPTIONS_ERROR:
            case LZMA_UNSUPPORTED_CHECK:
                throw StreamError(ErrorKind::unsupported,
                                  name_ + before() + ": xz with a filter or check that is not known");
            case LZMA_FORMAT_ERROR:
                throw damagedError(name_, "is no xz stream");
            default:
                throw damagedError(name_,
                                   "invalid xz data, wrong checksum or data after the last xz stream" + before());
        }
    }

    std::string before() const { return " before byte " + std::to_string(input_.offset()); }

    Input& input_;
    const std::string name_;
    const std::uint64_t memoryLimit_;
    LzmaStream stream_;
    bool ended_ = false;
};

}  // namespace

std::unique_ptr<StreamDecoder> makeXzDecoder(Input& input, const std::string& name, const Limits& limits) {
    return std::make_unique<XzDecoder>(input, name, limits);
}

}  // namespace bex::stream

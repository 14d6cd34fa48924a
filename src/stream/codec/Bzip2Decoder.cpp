#include <bzlib.h>

#include <new>
#include <optional>
#include <utility>

#include "stream/codec/CodecError.hpp"
#include "stream/codec/CoderState.hpp"
#include "stream/codec/StreamDecoder.hpp"

namespace bex::stream {

namespace {

constexpr char kFirstByte = 'B';

/// One stream.
class Bzip2Decoder final : public StreamDecoder {
public:
    Bzip2Decoder(Input& input, Place place) : input_(input), place_(std::move(place)) {}

    std::size_t fill(char* buffer, std::size_t size) override {
        std::size_t done = 0;
        // A stream may be empty, and a step may give nothing while it takes input.
        while (done < size && (stream_ || beginStream())) {
            done += decode(buffer + done, size - done);
        }
        return done;
    }

private:
    bool beginStream() {
        begin_ = input_.offset();
        // An empty input is left to the decoder, which reports it as truncated.
        if (begin_ != 0 && !input_.fill()) {
            return false;
        }
        // Known by its first byte: dpkg-deb 1.21 would leave a second stream out in silence.
        if (begin_ != 0 && input_.data()[0] == kFirstByte) {
            throw furtherError(place_, begin_, "bzip2 stream");
        }
        if (BZ2_bzDecompressInit(stream_.emplace().get(), 0, 0) != BZ_OK) {
            throw std::bad_alloc();
        }
        return true;
    }

    std::size_t decode(char* buffer, std::size_t size) {
        // At the input's end the decoder may still hold back output.
        input_.fill();
        bz_stream* const stream = stream_->get();
        stream->next_in = const_cast<char*>(input_.data());  // only read
        const unsigned offered = clamped(input_.size());
        stream->avail_in = offered;
        stream->next_out = buffer;
        const unsigned room = clamped(size);
        stream->avail_out = room;
        const int result = BZ2_bzDecompress(stream);
        const unsigned consumed = offered - stream->avail_in;
        const unsigned produced = room - stream->avail_out;
        // Before check() throws, so that the byte in its message is the one that was reached.
        input_.consume(consumed);
        check(result);
        if (result == BZ_STREAM_END) {
            // Frees its memory, some MiB. Without a stream, fill() looks at what follows.
            stream_.reset();
            // The source is at its end, and no step was possible with what was left.
        } else if (consumed == 0 && produced == 0) {
            throw truncatedError(place_, input_.offset(), "a bzip2 stream");
        }
        return produced;
    }

    /// The library compares the checksums of blocks and stream; a wrong one is BZ_DATA_ERROR.
    void check(int result) const {
        switch (result) {
            case BZ_OK:
            case BZ_STREAM_END:
                return;
            case BZ_MEM_ERROR:
                throw std::bad_alloc();
            case BZ_DATA_ERROR_MAGIC:
                throw damagedError(
                    place_, begin_ == 0 ? "is not a bzip2 stream"
                                        : "byte " + std::to_string(begin_) + ": data after the last bzip2 stream");
            default:
                throw damagedError(
                    place_, "invalid bzip2 data or wrong checksum near byte " + std::to_string(input_.offset()));
        }
    }

    Input& input_;
    const Place place_;
    std::optional<CoderState<bz_stream, BZ2_bzDecompressEnd>> stream_;
    std::uint64_t begin_ = 0;  // of the stream that is decoded
};

}  // namespace

std::unique_ptr<StreamDecoder> makeBzip2Decoder(Input& input, const Place& place) {
    return std::make_unique<Bzip2Decoder>(input, place);
}

}  // namespace bex::stream

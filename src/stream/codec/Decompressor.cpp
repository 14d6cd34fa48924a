#include "stream/codec/Decompressor.hpp"

#include <algorithm>
#include <utility>

#include "stream/codec/Buffer.hpp"
#include "stream/codec/CodecError.hpp"
#include "stream/codec/StreamDecoder.hpp"

namespace bex::stream {

namespace {

/// Bytes that are not compressed.
class PlainDecompressor final : public Decompressor {
public:
    explicit PlainDecompressor(ByteStream& source) : source_(source), chunk_(std::size_t{128} << 10) {}

    std::string_view next() override {
        // At most the capacity is read, so that setSize() stays within it. 0 bytes are the end and give an empty
        // view.
        chunk_.setSize(source_.read(chunk_.data(), chunk_.capacity()));
        return chunk_.view();
    }

    std::uint64_t skip(std::uint64_t size) override { return source_.skip(size); }

private:
    ByteStream& source_;
    Buffer chunk_;
};

/// Owns the input that a decoder reads from.
class OwningDecoder final : public StreamDecoder {
public:
    OwningDecoder(std::unique_ptr<Input> input, std::unique_ptr<StreamDecoder> decoder)
        : input_(std::move(input)), decoder_(std::move(decoder)) {}

    std::size_t fill(char* buffer, std::size_t size) override { return decoder_->fill(buffer, size); }

private:
    // Declared first, so destroyed last: the decoder refers to it until its own end.
    std::unique_ptr<Input> input_;
    std::unique_ptr<StreamDecoder> decoder_;
};

std::unique_ptr<StreamDecoder> makeDecoder(Input& input, Compression compression, const Place& place,
                                           const DecompressionSettings& settings) {
    switch (compression) {
        case Compression::gzip:
            return makeGzipDecoder(input, place, settings);
        case Compression::xz:
            return makeXzDecoder(input, place, settings);
        case Compression::zstd:
            return makeZstdDecoder(input, place, settings.limits);
        case Compression::bzip2:
            return makeBzip2Decoder(input, place);
        case Compression::none:
            break;
    }
    // Reached only by a value outside the enumeration: openDecompressor() does not come here for `none`.
    throw unsupportedError(place, "unknown compression");
}

}  // namespace

std::unique_ptr<Decompressor> openDecompressor(ByteStream& source, Compression compression, const Place& place,
                                               const DecompressionSettings& settings) {
    if (compression == Compression::none) {
        return std::make_unique<PlainDecompressor>(source);
    }
    // On the heap, because the decoder keeps its address while the ownership moves.
    auto input = std::make_unique<Input>(source);
    // Blocks are unpacked whole, which would read and unpack more than a gradual caller asked for.
    if (compression == Compression::gzip && !settings.gradual) {
        return makeGzipDecompressor(std::move(input), place, settings);
    }
    std::unique_ptr<StreamDecoder> decoder = makeDecoder(*input, compression, place, settings);
    return makeStreamDecompressor(std::make_unique<OwningDecoder>(std::move(input), std::move(decoder)),
                                  settings.gradual ? 1 : settings.threads,
                                  settings.gradual ? kGradualBytes : kStreamChunkBytes);
}

}  // namespace bex::stream

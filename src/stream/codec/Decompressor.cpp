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

std::string_view ForwardDecompressor::next() {
    // The rest of a piece that was skipped in part comes first.
    if (rest_.empty()) {
        return nextPiece();
    }
    return std::exchange(rest_, {});
}

std::uint64_t ForwardDecompressor::skip(std::uint64_t size) {
    std::uint64_t done = 0;
    while (done < size) {
        rest_ = next();
        if (rest_.empty()) {
            break;
        }
        // The first operand or the size of a piece bounds it: the conversion loses nothing.
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(size - done, rest_.size()));
        rest_.remove_prefix(count);
        done += count;
    }
    return done;
}

std::unique_ptr<Decompressor> openDecompressor(ByteStream& source, Compression compression, const Place& place,
                                               const DecompressionSettings& settings) {
    if (compression == Compression::none) {
        return std::make_unique<PlainDecompressor>(source);
    }
    const auto input = std::make_shared<Input>(source);
    // Blocks are unpacked whole, which would read and unpack more than a gradual caller asked for.
    if (compression == Compression::gzip && !settings.gradual) {
        return makeGzipDecompressor(input, place, settings);
    }
    return makeStreamDecompressor(input, makeDecoder(*input, compression, place, settings),
                                  settings.gradual ? 1 : settings.threads,
                                  settings.gradual ? kGradualBytes : kStreamChunkBytes);
}

}  // namespace bex::stream

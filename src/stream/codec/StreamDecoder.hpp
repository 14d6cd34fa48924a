#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "stream/codec/Decompressor.hpp"
#include "stream/codec/Gzip.hpp"
#include "stream/codec/Input.hpp"

namespace bex::stream {

/// Decodes one member of the package in a single pass. Used by one thread at a time.
class StreamDecoder {
public:
    virtual ~StreamDecoder() = default;

    /// Gives the next `size` bytes; fewer only at the end, when everything has been checked. After an exception,
    /// thrown as Decompressor::next() does, it only accepts destruction.
    virtual std::size_t fill(char* buffer, std::size_t size) = 0;

    StreamDecoder(const StreamDecoder&) = delete;
    StreamDecoder& operator=(const StreamDecoder&) = delete;

protected:
    StreamDecoder() = default;
};

// The input must outlive each of these.

/// Decodes all remaining gzip members. `header`: of the first one, if the caller has read it already. Of the
/// settings, `strict` and `watch` count.
std::unique_ptr<StreamDecoder> makeGzipDecoder(Input& input, const Place& place,
                                               const DecompressionSettings& settings,
                                               const std::optional<GzipHeader>& header = {});
std::unique_ptr<StreamDecoder> makeXzDecoder(Input& input, const Place& place,
                                             const DecompressionSettings& settings);
std::unique_ptr<StreamDecoder> makeZstdDecoder(Input& input, const Place& place, const Limits& limits);
std::unique_ptr<StreamDecoder> makeBzip2Decoder(Input& input, const Place& place);

constexpr std::size_t kStreamChunkBytes = std::size_t{256} << 10;
constexpr std::size_t kGradualBytes = std::size_t{4} << 10;

/// Delivers what the decoder decodes from the input, which is kept for it, in chunks of this size. With more than
/// one thread the decoder runs ahead, by a bounded number of chunks, in a thread of its own: the input must be
/// left alone until this is destroyed. Destruction waits for a read of the source that is under way.
std::unique_ptr<Decompressor> makeStreamDecompressor(std::shared_ptr<const Input> input,
                                                     std::unique_ptr<StreamDecoder> decoder, unsigned threads,
                                                     std::size_t chunkBytes = kStreamChunkBytes);

/// Unpacks blocks on a pool of threads; the first member that is not a block, and all after it, by
/// makeGzipDecoder().
std::unique_ptr<Decompressor> makeGzipDecompressor(std::shared_ptr<Input> input, const Place& place,
                                                   const DecompressionSettings& settings);

}  // namespace bex::stream

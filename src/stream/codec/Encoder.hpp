#pragma once

#include <cstddef>
#include <memory>

#include "bex/stream/Sink.hpp"
#include "stream/codec/CompressingSink.hpp"

namespace bex::stream {

/// One compressed stream in the making. After an exception it only accepts destruction.
class Encoder {
public:
    virtual ~Encoder() = default;
    virtual void write(const char* data, std::size_t size) = 0;
    /// Writes what is held back and the end of the stream. Call once, last.
    virtual void finish() = 0;

    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

protected:
    Encoder() = default;
};

/// A row of gzip members of `settings.blockBytes` (Gzip.hpp: blocks).
std::unique_ptr<Encoder> makeBlockEncoder(Sink& out, const CompressionSettings& settings);

/// One gzip member, compressed by zlib on the calling thread. The bytes depend on zlib's version alone.
std::unique_ptr<Encoder> makeGzipEncoder(Sink& out, const CompressionSettings& settings);

/// One xz stream with CRC-64. Works in threads of liblzma's own; fewer than asked for where their memory would go
/// beyond a bound.
std::unique_ptr<Encoder> makeXzEncoder(Sink& out, const CompressionSettings& settings);

/// One zstd frame with a checksum, cut into jobs for threads of libzstd's own.
std::unique_ptr<Encoder> makeZstdEncoder(Sink& out, const CompressionSettings& settings);

}  // namespace bex::stream

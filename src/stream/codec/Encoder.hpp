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

/// A row of gzip members of `settings.blockBytes` (Gzip.hpp: blocks), or of zstd frames (zstdBlockBytes()).
std::unique_ptr<Encoder> makeBlockEncoder(Sink& out, const CompressionSettings& settings);

/// One xz stream with CRC-64. Works in threads of liblzma's own; fewer than asked for where their memory would go
/// beyond a bound.
std::unique_ptr<Encoder> makeXzEncoder(Sink& out, const CompressionSettings& settings);

/// What one zstd frame holds, uncompressed: more at the levels that make use of it. Depends on nothing else.
std::size_t zstdBlockBytes(int level) noexcept;

}  // namespace bex::stream

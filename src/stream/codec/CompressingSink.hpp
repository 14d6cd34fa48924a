#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Sink.hpp"
#include "stream/base/FirstFailure.hpp"

namespace bex::stream {

struct CompressionSettings {
    Compression compression = Compression::gzip;
    int level = levelsOf(Compression::gzip).usual;
    unsigned threads = 1;                           ///< at least 1; the bytes do not depend on it
    std::size_t blockBytes = std::size_t{1} << 20;  ///< uncompressed, of gzip
    bool singleStream = false;                      ///< gzip: one member, made by one thread
    /// Called for each block of gzip when it has been written, in order, with its bytes and those it unpacks to;
    /// unset: for none.
    std::function<void(std::uint64_t memberBytes, std::uint64_t unpackedBytes)> onBlock = nullptr;
};

class Encoder;

/// Throws StreamError (`invalidInput`) for settings that the format does not have.
void checkSettings(const CompressionSettings& settings);

/// Compresses what is written to it and writes the result to another sink, in order, on the writing thread.
/// gzip: each block becomes one member with its length in an extra field, and what is noise is stored; the members
/// are made on a pool of threads with a bounded number of blocks in flight. A single stream is one member of
/// zlib's. zstd and xz: one stream. none: as it is. An error, of a worker or of the target, reaches the caller of
/// write() or finish(); destroyed before finish(), it stops its threads, when each has done with its block, and
/// writes nothing more.
///
/// Memory: for gzip, twice `threads` blocks of input and output and a compressor for each thread (under 1 MiB,
/// from level 10 on some 6 MiB); for zstd some 10 MiB and 6 for each thread, from level 16 on some 50 and 100; for
/// xz what liblzma needs, held to 1 GiB by using fewer threads.
class CompressingSink : public Sink {
public:
    /// `out` must outlive this. Throws as checkSettings().
    CompressingSink(Sink& out, const CompressionSettings& settings);
    ~CompressingSink() override;

    void write(const char* data, std::size_t size) override;

    /// Writes what is still in flight and the end of the stream. An empty input gives a valid empty stream.
    void finish();

private:
    template <typename Step>
    void run(Step step);

    std::unique_ptr<Encoder> encoder_;  // null after a failure
    FirstFailure failure_;
};

}  // namespace bex::stream

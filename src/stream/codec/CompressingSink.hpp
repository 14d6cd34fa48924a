#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Sink.hpp"

namespace bex::stream {

struct CompressionSettings {
    Compression compression = Compression::gzip;
    int level = 6;
    unsigned threads = 1;                             ///< at least 1; the bytes do not depend on it
    std::size_t blockBytes = std::size_t{512} << 10;  ///< uncompressed
};

/// Compresses what is written to it and writes the result to another sink, in order, on the writing thread.
/// gzip: each block becomes one member with its length in an extra field; zstd: each block one frame; both are
/// compressed on a pool of threads with a bounded number of blocks in flight. xz: one stream. none: as it is.
/// An error, of a worker or of the target, reaches the caller of write() or finish(); destroyed before
/// finish(), it stops its threads and writes nothing more.
class CompressingSink : public Sink {
public:
    /// `out` must outlive this. Throws StreamError (`invalidInput`) for settings that the format does not know.
    CompressingSink(Sink& out, const CompressionSettings& settings);
    ~CompressingSink() override;

    void write(const char* data, std::size_t size) override;

    /// Writes what is still in flight and the end of the stream. An empty input gives a valid empty stream.
    void finish();

private:
    class Stage;
    std::unique_ptr<Stage> stage_;
};

}  // namespace bex::stream

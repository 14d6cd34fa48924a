#pragma once

#include <memory>

#include "stream/codec/Buffer.hpp"

struct libdeflate_compressor;

namespace bex::stream {

/// What one worker turns from `input` into `output`.
struct Block {
    Buffer input;
    Buffer output;
};

/// Compresses the input of a block into a gzip member that tells its length (Gzip.hpp); noise is stored. Copies
/// share the compressors, which one thread may use at a time.
class GzipBlockWork {
public:
    explicit GzipBlockWork(int level);

    void operator()(Block& block) const;

private:
    using Compressor = std::shared_ptr<libdeflate_compressor>;

    static Compressor makeCompressor(int level);

    Compressor compressor_;
    Compressor storer_;
};

}  // namespace bex::stream

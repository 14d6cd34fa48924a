#pragma once

#include <memory>

#include "stream/codec/BlockPool.hpp"

struct libdeflate_compressor;

namespace bex::stream {

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

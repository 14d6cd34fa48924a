#pragma once

#include "bex/stream/Limits.hpp"
#include "bex/stream/Progress.hpp"

namespace bex::stream {

/// How a package is read.
struct ReadOptions {
    Limits limits;
    unsigned threads = 0;       ///< for decompression; 0: one for each processor, 1: the caller's thread alone
    ProgressCallback progress;  ///< for next(), read(), extract() and verify(); bytesTotal stays 0
};

}  // namespace bex::stream

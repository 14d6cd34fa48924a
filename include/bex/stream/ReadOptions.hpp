#pragma once

#include "bex/stream/Limits.hpp"
#include "bex/stream/Progress.hpp"

namespace bex::stream {

/// How a package is read.
struct ReadOptions {
    Limits limits;
    unsigned threads = 0;  ///< for decompression; 0: one for each processor, 1: the caller's thread alone
    /// Reads the control archive no further than the file "control", for callers that need only fields and read a
    /// remote package. Everything after the file is not checked, and members after it are missing. verify()
    /// ignores this.
    bool controlFileOnly = false;
    /// For next(), read(), extract() and verify(). bytesTotal is an estimate, the package's Installed-Size
    /// (0 if it has none), and exact at the end.
    ProgressCallback progress;
};

}  // namespace bex::stream

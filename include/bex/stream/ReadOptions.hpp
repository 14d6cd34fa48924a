#pragma once

#include "bex/stream/Limits.hpp"
#include "bex/stream/Progress.hpp"

namespace bex::stream {

/// How a package is read.
struct ReadOptions {
    Limits limits;
    unsigned threads = 0;  ///< for decompression; 0: one for each processor, 1: the caller's thread alone
    /// Reads the control archive no further than the file "control", and so no entry after it: for who needs
    /// fields alone and fetches every byte from afar. What stands after it is not checked, and the members from
    /// there on are missing. verify() ignores it.
    bool controlFileOnly = false;
    /// For next(), read(), extract() and verify(). bytesTotal is the package's Installed-Size, an estimate, until
    /// the end, when it is exact; 0 where the package does not say.
    ProgressCallback progress;
};

}  // namespace bex::stream

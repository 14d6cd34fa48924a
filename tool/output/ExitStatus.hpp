#pragma once

#include "bex/stream/StreamError.hpp"

namespace bex::tool {

/// What the process tells its caller; bex(1) lists them.
enum class ExitStatus : int {
    done = 0,
    no = 1,           ///< the answer is no: packages differ, findings, a field is absent
    usage = 2,        ///< wrong use
    damaged = 3,      ///< damaged or unsupported package
    inputOutput = 4,  ///< input or output failed
    refused = 5,      ///< refused as unsafe
    interrupted = 130
};

/// The exit status for an error of the library.
ExitStatus statusOf(stream::ErrorKind kind) noexcept;

}  // namespace bex::tool

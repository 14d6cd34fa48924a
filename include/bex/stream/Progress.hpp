#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace bex::stream {

/// The progress of a long operation.
struct Progress {
    std::uint64_t bytesDone = 0;   ///< payload bytes, uncompressed
    std::uint64_t bytesTotal = 0;  ///< 0 while it is not known
    std::string_view entry;        ///< path in the package; valid during the call only
};

/// Called on the thread that runs the operation, at most some tens of times a second and once at its end.
/// Returning false cancels: the operation removes what it has begun and throws StreamError (`cancelled`).
using ProgressCallback = std::function<bool(const Progress&)>;

}  // namespace bex::stream

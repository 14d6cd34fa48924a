#pragma once

#include <cstdint>
#include <string>

#include "bex/stream/StreamError.hpp"

namespace bex::stream {

/// The `damaged` error "NAME: REASON".
inline StreamError damagedError(const std::string& name, const std::string& reason) {
    return {ErrorKind::damaged, name + ": " + reason};
}

/// The `damaged` error for a source that is over too soon, after `bytes` of it, inside of `what`.
inline StreamError truncatedError(const std::string& name, std::uint64_t bytes, const std::string& what) {
    return damagedError(
        name, bytes == 0 ? "is empty" : "ends after " + std::to_string(bytes) + " bytes, inside " + what);
}

/// Of a format whose streams other readers take in a row: dpkg-deb 1.21 stops at the first one's end, in silence.
inline StreamError furtherError(const std::string& name, std::uint64_t offset, const std::string& what) {
    return {ErrorKind::unsupported,
            name + ": byte " + std::to_string(offset) + ": a further " + what + ", which not every reader reads"};
}

}  // namespace bex::stream

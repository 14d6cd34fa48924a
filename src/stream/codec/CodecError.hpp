#pragma once

#include <cstdint>
#include <string>

#include "stream/base/Place.hpp"

namespace bex::stream {

/// The `damaged` error of a member's compressed bytes.
inline StreamError damagedError(const Place& place, std::string reason) {
    return place.error(ErrorKind::damaged, "member-damaged", std::move(reason));
}

inline StreamError unsupportedError(const Place& place, std::string reason) {
    return place.error(ErrorKind::unsupported, "member-unsupported", std::move(reason));
}

/// The `damaged` error for a source that ends too soon, after `bytes` of it, inside of `what`.
inline StreamError truncatedError(const Place& place, std::uint64_t bytes, const std::string& what) {
    if (bytes == 0) {
        return damagedError(place, "is empty");
    }
    return damagedError(place, "ends after " + std::to_string(bytes) + " bytes, inside " + what);
}

/// For formats of which dpkg-deb 1.21 reads the first stream alone and ignores the others without an error.
inline StreamError furtherError(const Place& place, std::uint64_t offset, const std::string& what) {
    return unsupportedError(
        place, "byte " + std::to_string(offset) + ": a further " + what + ", which not every reader reads");
}

}  // namespace bex::stream

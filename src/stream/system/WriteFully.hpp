#pragma once

#include <cerrno>
#include <cstddef>
#include <string_view>

#include "stream/system/System.hpp"

namespace bex::stream {

/// Writes all bytes at the descriptor's position, however many calls that takes. False and errno when it fails; a
/// file that takes no more bytes without an error counts as full (ENOSPC).
inline bool writeFully(System& system, int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = system.write(descriptor, bytes.data(), bytes.size());
        if (count == 0) {  // would go on for ever
            errno = ENOSPC;
        }
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace bex::stream

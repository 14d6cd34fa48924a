#pragma once

#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace bex::tool {

/// Writes all bytes at the descriptor's position, however many calls that takes. Returns 0, or the error number; a
/// file that takes no more bytes without an error counts as full. The library's own loop is private to it.
inline int writeAll(int descriptor, std::string_view bytes) noexcept {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written == 0) {
            return ENOSPC;
        }
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

}  // namespace bex::tool

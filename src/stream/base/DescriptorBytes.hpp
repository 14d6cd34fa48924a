#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace bex::stream {

// For code whose calls of the operating system no test replaces; the streaming library itself calls System.

/// Writes all bytes at the descriptor's position, however many calls that takes. Returns 0, or the error number; a
/// file that takes no more bytes without an error counts as full.
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

/// Reads from `offset` on until `size` bytes are there or the file ends; pread(2) may return fewer bytes than
/// there are. Returns how many there are, or -1 with errno set.
inline ssize_t readAll(int descriptor, char* buffer, std::size_t size, std::uint64_t offset) noexcept {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::pread(descriptor, buffer + done, size - done, static_cast<off_t>(offset + done));
        if (count == 0) {
            break;
        }
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            return -1;
        }
    }
    return static_cast<ssize_t>(done);
}

/// Reads all from the descriptor's position to the end, also of a pipe. Returns 0, or the error number.
inline int readToEnd(int descriptor, std::string& text) {
    constexpr std::size_t firstBytes = std::size_t{64} << 10;
    struct stat status {};
    text.clear();
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        text.resize(static_cast<std::size_t>(status.st_size) + 1);  // One more, so that the end is read at once.
    }
    for (std::size_t used = 0;;) {
        if (used == text.size()) {
            text.resize(std::max(firstBytes, 2 * used));
        }
        const ssize_t count = ::read(descriptor, text.data() + used, text.size() - used);
        if (count > 0) {
            used += static_cast<std::size_t>(count);
        } else if (count == 0) {
            text.resize(used);
            return 0;
        } else if (errno != EINTR) {
            return errno;
        }
    }
}

}  // namespace bex::stream

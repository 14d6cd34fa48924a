#include "stream/system/WriteFully.hpp"

#include <cerrno>
#include <cstddef>

namespace bex::stream {

bool writeFully(System& system, int descriptor, std::string_view bytes) {
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

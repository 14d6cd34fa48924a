#include "shlibs/base/Descriptor.hpp"

#include <cerrno>
#include <cstring>

#include "shlibs/base/Failure.hpp"

namespace bex::shlibs {

std::size_t readAt(int descriptor, char* buffer, std::size_t size, std::uint64_t offset, const std::string& name) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = ::pread(descriptor, buffer + done, size - done, static_cast<off_t>(offset + done));
        if (got == 0) {
            break;
        }
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (errno != EINTR) {
            throw failure(ErrorKind::inputOutput, name, std::strerror(errno));
        }
    }
    return done;
}

}  // namespace bex::shlibs

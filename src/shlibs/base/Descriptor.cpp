#include "shlibs/base/Descriptor.hpp"

#include <cerrno>
#include <cstring>
#include <utility>

#include "shlibs/base/Failure.hpp"

namespace bex::shlibs {

StreamError systemFailure(const std::string& file, int errorNumber) {
    stream::ErrorRecord record = failure(ErrorKind::inputOutput, file, std::strerror(errorNumber)).record();
    record.systemError = errorNumber;
    return StreamError(std::move(record));
}

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
            throw systemFailure(name, errno);
        }
    }
    return done;
}

}  // namespace bex::shlibs

#include "repo/base/InputFile.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

#include "repo/base/Failure.hpp"

namespace bex::repo {

namespace {

constexpr std::size_t kFirstBytes = std::size_t{64} << 10;

/// read(2) or pread(2) in `get`, again after a signal.
template <typename Get>
std::size_t readOnce(const std::string& name, Get get) {
    for (;;) {
        const ssize_t count = get();
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR) {
            throw systemFailure(name, "read", errno);
        }
    }
}

}  // namespace

InputFile::InputFile(const std::string& path, std::string name)
    // O_NONBLOCK: the open of a FIFO would wait for a writer. It changes nothing for regular files.
    : name_(std::move(name)), descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
    if (descriptor_ < 0) {
        throw systemFailure(name_, "open", errno);
    }
}

struct stat InputFile::status() const {
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0) {
        throw systemFailure(name_, "stat", errno);
    }
    return status;
}

std::size_t InputFile::readAt(std::uint64_t offset, char* buffer, std::size_t size) const {
    std::size_t done = 0;
    while (done < size) {
        const std::size_t count = readOnce(name_, [&] {
            return ::pread(descriptor_, buffer + done, size - done, static_cast<off_t>(offset + done));
        });
        // pread(2) may return fewer bytes than there are; only 0 means the end.
        if (count == 0) {
            break;
        }
        done += count;
    }
    return done;
}

std::string readWholeFile(const std::string& path) {
    const bool isStandardInput = path == "-";
    const std::string name = isStandardInput ? "standard input" : path;
    // A copy of standard input, so that both cases are closed alike.
    const int descriptor = isStandardInput ? ::dup(STDIN_FILENO) : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        throw systemFailure(name, "open", errno);
    }
    const struct Closing {
        int descriptor;
        ~Closing() { ::close(descriptor); }
    } closing{descriptor};
    std::string text;
    struct stat status {};
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        text.resize(static_cast<std::size_t>(status.st_size) + 1);  // One more, so that the end is read at once.
    }
    for (std::size_t used = 0;;) {
        if (used == text.size()) {
            text.resize(std::max(kFirstBytes, 2 * used));
        }
        const std::size_t count =
            readOnce(name, [&] { return ::read(descriptor, text.data() + used, text.size() - used); });
        used += count;
        if (count == 0) {
            text.resize(used);
            return text;
        }
    }
}

}  // namespace bex::repo

#include "repo/base/InputFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "repo/base/Failure.hpp"
#include "stream/base/DescriptorBytes.hpp"

namespace bex::repo {

namespace {

constexpr std::size_t kFirstBytes = std::size_t{64} << 10;

/// read(2), again after a signal.
std::size_t readOnce(int descriptor, char* buffer, std::size_t size, const std::string& name) {
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer, size);
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
    : name_(std::move(name)), file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
    if (!file_) {
        throw systemFailure(name_, "open", errno);
    }
}

struct stat InputFile::status() const {
    struct stat status {};
    if (::fstat(file_.get(), &status) != 0) {
        throw systemFailure(name_, "stat", errno);
    }
    return status;
}

std::size_t InputFile::readAt(std::uint64_t offset, char* buffer, std::size_t size) const {
    const ssize_t count = stream::readAll(file_.get(), buffer, size, offset);
    if (count < 0) {
        throw systemFailure(name_, "read", errno);
    }
    return static_cast<std::size_t>(count);
}

std::string readWholeFile(const std::string& path) {
    const bool isStandardInput = path == "-";
    const std::string name = isStandardInput ? "standard input" : path;
    // A copy of standard input, so that both cases are closed alike.
    const stream::PlainDescriptor file(isStandardInput ? ::dup(STDIN_FILENO)
                                                       : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
        throw systemFailure(name, "open", errno);
    }
    std::string text;
    struct stat status {};
    if (::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode)) {
        text.resize(static_cast<std::size_t>(status.st_size) + 1);  // One more, so that the end is read at once.
    }
    for (std::size_t used = 0;;) {
        if (used == text.size()) {
            text.resize(std::max(kFirstBytes, 2 * used));
        }
        const std::size_t count = readOnce(file.get(), text.data() + used, text.size() - used, name);
        used += count;
        if (count == 0) {
            text.resize(used);
            return text;
        }
    }
}

}  // namespace bex::repo

#include "repo/base/InputFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "repo/base/Failure.hpp"
#include "stream/base/DescriptorBytes.hpp"

namespace bex::repo {

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
    if (const int error = stream::readToEnd(file.get(), text)) {
        throw systemFailure(name, "read", error);
    }
    return text;
}

}  // namespace bex::repo

#include "verbs/InputCopy.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bex/stream/StreamError.hpp"
#include "output/Failure.hpp"
#include "output/Interrupt.hpp"

namespace bex::tool {

using stream::ErrorKind;
using stream::StreamError;

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw systemError("standard input", what, errno);
}

void writeAll(int descriptor, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(descriptor, data, size);
        if (written < 0 && errno != EINTR) {
            fail("write the temporary copy");
        }
        const std::size_t advance = written > 0 ? static_cast<std::size_t>(written) : 0;
        data += advance;
        size -= advance;
    }
}

void copyInput(int descriptor) {
    std::vector<char> buffer(256 * 1024);
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (interrupted()) {
            throw StreamError(ErrorKind::cancelled, "standard input: interrupted");
        }
        if (count < 0 && errno != EINTR) {
            fail("read");
        }
        if (count == 0) {
            return;
        }
        writeAll(descriptor, buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    }
}

}  // namespace

InputCopy::InputCopy(const std::string& folder) {
    if (folder.empty()) {
        return;
    }
    path_ = folder + "/bex-input-XXXXXX";
    const int descriptor = mkstemp(path_.data());
    if (descriptor < 0) {
        fail("make a temporary copy in " + folder);
    }
    try {
        copyInput(descriptor);
    } catch (...) {
        close(descriptor);
        unlink(path_.c_str());
        throw;
    }
    close(descriptor);
}

InputCopy::~InputCopy() {
    if (!path_.empty()) {
        unlink(path_.c_str());  // Nothing is left to do where it fails.
    }
}

}  // namespace bex::tool

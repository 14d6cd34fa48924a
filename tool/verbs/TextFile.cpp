#include "verbs/TextFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"

namespace bex::tool {

namespace fs = std::filesystem;

namespace {

constexpr std::streamsize kPieceBytes = 16 * 1024;

}  // namespace

stream::StreamError unusable(const std::string& path, const std::string& reason) {
    return {stream::ErrorKind::inputOutput, stream::escapeForDisplay(path) + ": " + reason};
}

void writeNewFile(const std::string& path, const std::string& text) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        throw systemError(path, "make it", errno);
    }
    std::size_t written = 0;
    ssize_t count = 0;
    while (written < text.size() && count >= 0) {
        count = write(descriptor, text.data() + written, text.size() - written);
        written += static_cast<std::size_t>(count < 0 ? 0 : count);
    }
    const int writing = count < 0 ? errno : 0;
    const int closing = close(descriptor) != 0 ? errno : 0;
    if (writing != 0 || closing != 0) {
        unlink(path.c_str());
        throw systemError(path, "write", writing != 0 ? writing : closing);
    }
}

void replaceFile(const std::string& path, const std::string& text) {
    const std::string temporary = path + "." + std::to_string(getpid());
    writeNewFile(temporary, text);
    if (rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        unlink(temporary.c_str());
        throw systemError(path, "write", error);
    }
}

std::string readFile(const std::string& path) {
    std::error_code failure;
    if (fs::is_directory(path, failure)) {
        throw unusable(path, "is a directory");
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string text;
    for (std::vector<char> piece(kPieceBytes); file.read(piece.data(), kPieceBytes) || file.gcount() > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(file.gcount()));
    }
    if (!file.is_open() || file.bad()) {
        throw unusable(path, errno != 0 ? std::strerror(errno) : "can't read it");
    }
    return text;
}

}  // namespace bex::tool

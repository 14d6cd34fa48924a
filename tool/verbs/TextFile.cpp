#include "verbs/TextFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "stream/base/DescriptorBytes.hpp"

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
    int failure = stream::writeAll(descriptor, text);
    // A close may report what write() did not, and must not hide what it did.
    if (close(descriptor) != 0 && failure == 0) {
        failure = errno;
    }
    if (failure != 0) {
        unlink(path.c_str());
        throw systemError(path, "write", failure);
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

void deliver(const MadeFile& file, void (*write)(const std::string& path, const std::string& text),
             Context& context) {
    if (file.path == "-") {
        context.console.out(file.text);
        return;
    }
    write(file.path, file.text);
    if (context.json) {
        Json object = {{"schema", 1}};
        putText(object, file.key, file.path);
        context.console.out(jsonText(object));
    } else {
        context.console.out(file.path + "\n");
    }
}

}  // namespace bex::tool

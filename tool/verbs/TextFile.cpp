#include "verbs/TextFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "stream/base/DescriptorBytes.hpp"
#include "stream/base/Owners.hpp"

namespace bex::tool {

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
    const stream::PlainDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
        throw unusable(path, std::strerror(errno));
    }
    std::string text;
    const int error = stream::readToEnd(file.get(), text);
    if (error == EISDIR) {
        throw unusable(path, "is a directory");
    }
    if (error != 0) {
        throw unusable(path, std::strerror(error));
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

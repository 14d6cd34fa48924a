#include "verbs/TextSpool.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "output/Failure.hpp"
#include "output/WriteAll.hpp"

namespace bex::tool {

namespace {

std::string temporaryDirectory() {
    const char* const directory = std::getenv("TMPDIR");
    if (directory == nullptr || *directory == '\0') {
        return "/tmp";
    }
    return directory;
}

/// A file system that makes no unnamed files gets a named one, whose name is removed at once.
int openUnnamed(const std::string& directory) {
    // Without a name from the start: nothing is left behind however the process ends.
    const int unnamed = open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (unnamed >= 0) {
        return unnamed;
    }
    std::string name = directory + "/bex-XXXXXX";
    const int descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor < 0) {
        throw systemError(directory, "create a temporary file", errno);
    }
    // Where this fails, the name stays; the texts are still written and read.
    unlink(name.c_str());
    return descriptor;
}

}  // namespace

TextSpool::TextSpool() : directory_(temporaryDirectory()), descriptor_(openUnnamed(directory_)) {}

TextSpool::~TextSpool() {
    // What was written is not needed any more, so that a failure says nothing.
    close(descriptor_);
}

TextSpool::Place TextSpool::add(std::string_view text) {
    // Nothing else writes here, so that end_ is where the file ends.
    const Place place{end_, text.size()};
    // text() reads by offset, so that the file's position stays at its end.
    if (const int failure = writeAll(descriptor_, text)) {
        throw systemError(directory_, "write", failure);
    }
    end_ += text.size();
    return place;
}

std::string TextSpool::text(const Place& place) const {
    std::string text(place.size, '\0');
    for (std::size_t filled = 0; filled < text.size();) {
        // Within the file: add() has given the place.
        const auto offset = static_cast<off_t>(place.offset + filled);
        const ssize_t count = pread(descriptor_, text.data() + filled, text.size() - filled, offset);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw systemError(directory_, "read", errno);
        }
        filled += static_cast<std::size_t>(count);
    }
    return text;
}

}  // namespace bex::tool

#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "stream/base/Owners.hpp"

namespace bex::stream {

/// The directory for temporary files: $TMPDIR, or /tmp if it is unset or empty. It need not exist.
inline std::string temporaryDirectory() {
    const char* const directory = std::getenv("TMPDIR");
    if (directory == nullptr || *directory == '\0') {
        return "/tmp";
    }
    return directory;
}

/// Opens a new file without a name in the directory, to be read and written: nothing is left behind however the
/// process ends. A file system that makes no unnamed files gets a named one, whose name is removed at once. Empty,
/// with errno set, if neither is possible. For code whose calls of the operating system no test replaces.
inline PlainDescriptor openUnnamedFile(const std::string& directory) {
    PlainDescriptor unnamed(::open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (unnamed) {
        return unnamed;
    }
    std::string name = directory + "/bex-XXXXXX";
    PlainDescriptor named(::mkostemp(name.data(), O_CLOEXEC));
    if (named) {
        ::unlink(name.c_str());  // Where this fails, the name stays; the file still serves.
    }
    return named;
}

}  // namespace bex::stream

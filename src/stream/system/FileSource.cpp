#include "stream/system/FileSource.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "stream/base/Place.hpp"

namespace bex::stream {

namespace {

constexpr std::uint64_t kLargestOffset = std::numeric_limits<off_t>::max();

}  // namespace

OpenFile openForReading(const std::string& path, System& system) {
    // O_NOCTTY: opening a terminal by mistake must not make it the process's own.
    Descriptor descriptor(system.openat(AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY, 0), system);
    if (!descriptor) {
        throw systemFailure(path, "open", errno);
    }
    // Read before the owner is moved from.
    const int number = descriptor.get();
    return {number, std::move(descriptor)};
}

struct stat statusOf(const OpenFile& file, const std::string& name, System& system) {
    struct stat status = {};
    if (system.fstat(file.number, &status) != 0) {
        throw systemFailure(name, "read", errno);
    }
    return status;
}

bool isRegularFile(const OpenFile& file, const std::string& name, System& system) {
    const struct stat status = statusOf(file, name, system);
    // open(2) of a directory succeeds, and only read(2) would fail, later and with less to say.
    if (S_ISDIR(status.st_mode)) {
        throw systemFailure(name, "read", EISDIR);
    }
    return S_ISREG(status.st_mode);
}

void requireRegularFile(const OpenFile& file, const std::string& name, System& system) {
    if (!isRegularFile(file, name, system)) {
        throw systemFailure(name, "read by offset", ESPIPE);
    }
}

/// Asked anew each time: a file that was cut meanwhile has no bytes to skip.
std::uint64_t FileSource::size() {
    const struct stat status = statusOf(file_, name_, system_);
    // A negative size would be a fault of the file system; as an unsigned number it would be enormous.
    const auto bytes = static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0));
    // `offset_` may lie after the end; the inner minimum keeps the difference from wrapping.
    return std::min(bytes - std::min(offset_, bytes), length_);
}

std::size_t FileSource::readAt(std::uint64_t offset, char* buffer, std::size_t size) {
    // Compared as differences, so that neither sum nor off_t overflows; what lies beyond is the end.
    if (offset >= length_ || offset_ > kLargestOffset || offset > kLargestOffset - offset_) {
        return 0;
    }
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, length_ - offset));
    const ssize_t count = system_.pread(file_.number, buffer, wanted, static_cast<off_t>(offset_ + offset));
    if (count < 0) {
        throw systemFailure(name_, "read", errno);
    }
    return static_cast<std::size_t>(count);
}

}  // namespace bex::stream

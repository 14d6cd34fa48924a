#include "stream/writer/Spool.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "bex/stream/StreamError.hpp"
#include "stream/base/Place.hpp"
#include "stream/system/TemporaryName.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kBufferBytes = std::size_t{256} << 10;

/// For file systems without O_TMPFILE: a file whose name goes at once.
int openAndUnlink(const std::string& folder, System& system) {
    int file = -1;
    bool unlinked = false;
    makeTemporary([&](const char* name) {
        const std::string path = folder + "/" + name;
        file = system.openat(AT_FDCWD, path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        unlinked = file >= 0 && system.unlinkat(AT_FDCWD, path.c_str(), 0) == 0;
        return file >= 0;
    });
    if (file >= 0 && !unlinked) {
        const int reason = errno;
        system.close(file);
        errno = reason;
        return -1;
    }
    return file;
}

Descriptor openUnnamed(const std::string& folder, System& system) {
    int file = system.openat(AT_FDCWD, folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (file < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
        file = openAndUnlink(folder, system);
    }
    if (file < 0) {
        throw systemFailure(folder, "make a temporary file", errno);
    }
    return {file, system};
}

}  // namespace

Spool::Spool(const std::string& folder, std::string member, System& system, std::uint64_t mostBytes)
    : folder_(folder),
      member_(std::move(member)),
      system_(system),
      mostBytes_(mostBytes),
      file_(openUnnamed(folder, system)),
      buffer_(kBufferBytes) {}

void Spool::write(const char* data, std::size_t size) {
    if (size > mostBytes_ - size_) {  // guard: members beyond what ar can tell
        throw memberTooLarge(member_, mostBytes_);
    }
    size_ += size;
    if (size > buffer_.size() - buffered_) {
        flush();
    }
    if (size > buffer_.size()) {
        writeOut(data, size);
    } else {
        std::copy_n(data, size, buffer_.begin() + static_cast<std::ptrdiff_t>(buffered_));
        buffered_ += size;
    }
}

void Spool::flush() {
    writeOut(buffer_.data(), buffered_);
    buffered_ = 0;
}

void Spool::writeOut(const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t count = system_.write(file_.get(), data, size);
        if (count <= 0) {
            throw systemFailure(folder_, "write a temporary file", count < 0 ? errno : ENOSPC);
        }
        data += count;
        size -= static_cast<std::size_t>(count);
    }
}

void Spool::readBack(const std::function<void(std::string_view)>& consume) {
    flush();
    for (std::uint64_t offset = 0; offset < size_;) {
        const std::size_t wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(buffer_.size(), size_ - offset));
        const ssize_t count = system_.pread(file_.get(), buffer_.data(), wanted, static_cast<off_t>(offset));
        if (count <= 0) {  // the end can't come before all that was written
            throw systemFailure(folder_, "read back a temporary file", count < 0 ? errno : EIO);
        }
        consume({buffer_.data(), static_cast<std::size_t>(count)});
        offset += static_cast<std::uint64_t>(count);
    }
}

}  // namespace bex::stream

#include "stream/system/ScratchFile.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

#include "stream/base/Place.hpp"
#include "stream/system/WriteFully.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kBufferBytes = std::size_t{256} << 10;

[[noreturn]] void failToMake(const std::string& directory) {
    throw systemFailure(directory, "make a temporary file", errno);
}

Descriptor openDirectory(const std::string& directory, System& system) {
    Descriptor opened(system.openat(AT_FDCWD, directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC, 0), system);
    if (!opened) {
        failToMake(directory);
    }
    return opened;
}

}  // namespace

ScratchFile::ScratchFile(const std::string& directory, System& system)
    : name_(directory),
      system_(system),
      directory_(openDirectory(directory, system)),
      file_(directory_.get(), TemporaryFile::Use::scratch, system),
      buffer_(kBufferBytes) {
    if (!file_) {
        failToMake(name_);
    }
}

void ScratchFile::append(std::string_view bytes) {
    // buffered_ never exceeds the buffer's size, so that the difference cannot wrap. The buffer goes out whole and
    // before the new bytes: the file's bytes stay the first `written_` of all.
    if (bytes.size() > buffer_.size() - buffered_) {
        writeOut({buffer_.data(), buffered_});
        buffered_ = 0;
    }
    // More than a whole buffer would hold: the buffer is empty by now, and copying would gain nothing.
    if (bytes.size() > buffer_.size()) {
        writeOut(bytes);
    } else {
        std::copy(bytes.begin(), bytes.end(), buffer_.begin() + static_cast<std::ptrdiff_t>(buffered_));
        buffered_ += bytes.size();
    }
}

void ScratchFile::writeOut(std::string_view bytes) {
    if (!writeFully(system_, file_.get(), bytes)) {
        throw systemFailure(name_, "write a temporary file", errno);
    }
    written_ += bytes.size();
}

std::size_t ScratchFile::read(std::uint64_t offset, char* buffer, std::size_t size) const {
    // In the buffer: `offset` is below size(), so that its distance from `written_` is below `buffered_`.
    if (offset >= written_) {
        return std::string_view(buffer_.data(), buffered_)
            .copy(buffer, size, static_cast<std::size_t>(offset - written_));
    }
    // Stops where the file does. The rest comes with the next call, from the buffer.
    size = static_cast<std::size_t>(std::min<std::uint64_t>(size, written_ - offset));
    const ssize_t count = system_.pread(file_.get(), buffer, size, static_cast<off_t>(offset));
    if (count == 0) {  // the end cannot come before all that was written
        errno = EIO;
    }
    if (count <= 0) {
        throw systemFailure(name_, "read back a temporary file", errno);
    }
    return static_cast<std::size_t>(count);
}

void ScratchFile::discardBefore(std::uint64_t offset) {
    // What is still in the buffer has no place in the file that could be given back.
    offset = std::min(offset, written_);
    if (offset > discarded_) {
        // Whether it succeeds makes no difference to the bytes: without holes the file needs its space to the end.
        system_.fallocate(file_.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(discarded_),
                          static_cast<off_t>(offset - discarded_));
        discarded_ = offset;
    }
}

}  // namespace bex::stream

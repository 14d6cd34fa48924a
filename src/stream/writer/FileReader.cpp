#include "stream/writer/FileReader.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "bex/stream/StreamError.hpp"
#include "stream/base/Place.hpp"
#include "stream/system/OpenLongPath.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kBufferBytes = std::size_t{256} << 10;

bool sameTime(const struct timespec& left, const struct timespec& right) noexcept {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

/// What is different from when the file was found; null when nothing is.
const char* differenceOf(const SourceEntry& file, const struct stat& now) noexcept {
    if (!S_ISREG(now.st_mode)) {  // guard: sources that become links
        return "is no regular file any more";
    }
    // With device and inode the same it does not matter which directories led here.
    if (now.st_dev != file.device || now.st_ino != file.inode) {  // guard: sources that were replaced
        return "was replaced after it was listed";
    }
    const auto size = static_cast<std::uint64_t>(now.st_size);
    if (size != file.size) {
        return size < file.size ? "shrank after it was listed" : "grew after it was listed";
    }
    // guard: sources with another time
    if (!sameTime(now.st_mtim, {file.mtime, static_cast<long>(file.mtimeNanoseconds)})) {
        return "changed after it was listed";
    }
    return (now.st_mode & 07777) != file.mode ? "changed its mode after it was listed" : nullptr;
}

}  // namespace

FileReader::FileReader(const Collection& collection, System& system)
    : collection_(collection), system_(system), buffer_(kBufferBytes) {}

void FileReader::read(const SourceEntry& file, const Consumer& consume) {
    if (file.isFromDisk()) {
        readFromDisk(file, consume);
    } else {
        consume(*file.data);
    }
}

void FileReader::readFromDisk(const SourceEntry& file, const Consumer& consume) {
    // A FIFO that took the file's place must not block the open.
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const Origin& origin = collection_.origins[file.origin];
    const Descriptor opened = origin.singleFile
                                  ? Descriptor(system_.openat(AT_FDCWD, origin.source.c_str(), flags, 0), system_)
                                  : openLongPath(system_, folderOf(file), collection_.relativePath(file), flags);
    if (!opened) {
        const int reason = errno;
        if (reason == ELOOP) {  // what O_NOFOLLOW says of a symlink
            fail(file, "is no regular file any more");
        }
        failCall(file, "open it", reason);
    }
    const struct stat before = statusOf(opened.get(), file);
    if (const char* difference = differenceOf(file, before)) {
        fail(file, difference);
    }
    readExactly(opened.get(), file, consume);
    const struct stat after = statusOf(opened.get(), file);
    // The change time tells of what the others can be set back to hide.
    // guard: sources that change while they are read
    if (differenceOf(file, after) != nullptr || !sameTime(before.st_ctim, after.st_ctim)) {
        fail(file, "changed while it was read");
    }
}

void FileReader::readExactly(int descriptor, const SourceEntry& file, const Consumer& consume) {
    for (std::uint64_t left = file.size; left > 0;) {
        const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer_.size()));
        const std::size_t size = readSome(descriptor, file, wanted);
        if (size == 0) {
            fail(file, "shrank while it was read");
        }
        consume({buffer_.data(), size});
        left -= size;
    }
    if (readSome(descriptor, file, 1) != 0) {  // guard: sources that grow while they are read
        fail(file, "grew while it was read");
    }
}

std::size_t FileReader::readSome(int descriptor, const SourceEntry& file, std::size_t size) {
    const ssize_t count = system_.read(descriptor, buffer_.data(), size);
    if (count < 0) {
        failCall(file, "read it", errno);
    }
    return static_cast<std::size_t>(count);
}

struct stat FileReader::statusOf(int descriptor, const SourceEntry& file) {
    struct stat status {};
    if (system_.fstat(descriptor, &status) != 0) {
        failCall(file, "read its attributes", errno);
    }
    return status;
}

void FileReader::checkName(const SourceEntry& file) {
    const Descriptor opened = openLongPath(system_, folderOf(file), collection_.relativePath(file), O_PATH);
    if (!opened) {
        failCall(file, "open it", errno);
    }
    const struct stat status = statusOf(opened.get(), file);
    if (status.st_dev != file.device || status.st_ino != file.inode) {  // guard: further names of a file
        fail(file, "was replaced after it was listed");
    }
}

int FileReader::folderOf(const SourceEntry& file) {
    if (rootOrigin_ != file.origin) {
        const std::string& source = collection_.origins[file.origin].source;
        root_ = Descriptor(system_.openat(AT_FDCWD, source.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC, 0), system_);
        if (!root_) {
            throw systemFailure(source, "open the directory", errno);
        }
        rootOrigin_ = file.origin;
    }
    return root_.get();
}

void FileReader::failCall(const SourceEntry& file, const char* action, int errorNumber) const {
    throw systemFailure(collection_.sourcePath(file), action, errorNumber);
}

void FileReader::fail(const SourceEntry& file, const char* reason) const {
    Place(collection_.sourceName(file)).fail(ErrorKind::inputOutput, "source-changed", reason);
}

}  // namespace bex::stream

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

constexpr const char* kChanged = "changed while it was read";

/// What is different from when the file was found, whose contents begin at `offset`; null when nothing is.
const char* differenceOf(const SourceEntry& file, off_t offset, const struct stat& now) noexcept {
    if (!S_ISREG(now.st_mode)) {  // guard: sources that become links
        return "is no longer a regular file";
    }
    // With device and inode the same it does not matter which directories led here.
    if (now.st_dev != file.device || now.st_ino != file.inode) {  // guard: sources that were replaced
        return "was replaced after it was listed";
    }
    const auto size = static_cast<std::uint64_t>(now.st_size);
    const std::uint64_t listed = static_cast<std::uint64_t>(offset) + file.size;
    if (size < listed) {
        return "shrank after it was listed";
    }
    if (size > listed) {
        return "grew after it was listed";
    }
    // guard: sources with another time
    if (!areSameTime(now.st_mtim, {file.mtime, static_cast<long>(file.mtimeNanoseconds)})) {
        return "changed after it was listed";
    }
    if ((now.st_mode & 07777) != file.mode) {
        return "changed its mode after it was listed";
    }
    if (now.st_uid != file.uid || now.st_gid != file.gid) {
        return "changed its owner after it was listed";
    }
    return nullptr;
}

}  // namespace

// The change time shows what the others can be set back to hide.
bool ChangeTimes::differ() const noexcept {
    return !areSameTime(before, after);
}

void FileReader::read(const SourceEntry& file, const Consumer& consume) {
    buffer_.reserve(kBufferBytes);
    std::uint64_t offset = 0;
    do {
        // offset is at most file.size: the difference cannot wrap.
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(file.size - offset, kBufferBytes));
        // Also for an empty file: its part of 0 bytes is where changes are noticed.
        readPart(file, offset, buffer_.data(), wanted);
        consume({buffer_.data(), wanted});
        offset += wanted;
    } while (offset != file.size);
}

ChangeTimes FileReader::readPart(const SourceEntry& file, std::uint64_t offset, char* to, std::size_t size) {
    if (file.isFromDisk) {
        return readFromDisk(file, offset, to, size);
    }
    // Neither on disk nor read by a function: the bytes are in memory, and cannot change.
    if (file.reader != nullptr) {
        readFromReader(file, offset, to, size);
    } else {
        file.data->copy(to, size, static_cast<std::size_t>(offset));
    }
    return {};
}

void FileReader::requireSameContents(const SourceEntry& file, const Md5::HexDigest& digest) {
    Md5 again;
    read(file, [&again](std::string_view piece) { again.update(piece.data(), piece.size()); });
    if (again.hex() != digest) {
        fail(file, kChanged);
    }
}

void FileReader::readFromReader(const SourceEntry& file, std::uint64_t offset, char* to, std::size_t size) const {
    for (std::size_t done = 0; done < size;) {
        const std::size_t wanted = std::min(size - done, kBufferBytes);
        // No lock: contents of this kind are read by one thread, the cursor's or the comparison's.
        const std::size_t count = (*file.reader)(offset + done, to + done, wanted);
        const Place place = Place(collection_.sourceName(file)).at(file.path);
        // The caller's function is not trusted: too few bytes are an error, and so are more than were asked for.
        if (count == 0) {
            place.fail(ErrorKind::inputOutput, "source-changed",
                       "its contents end after " + std::to_string(offset + done) + " of " +
                           std::to_string(file.size) + " bytes");
        }
        if (count > wanted) {
            place.fail(ErrorKind::invalidInput, "its reader returned more bytes than it was asked for");
        }
        done += count;
    }
}

Descriptor FileReader::open(const SourceEntry& file) {
    // A FIFO that took the file's place must not block the open.
    constexpr int flags = O_RDONLY | O_NONBLOCK | O_CLOEXEC;
    // In range: what is from disk has an origin.
    const Origin& origin = collection_.origins[file.origin];
    if (origin.singleFile) {
        // It may be named by a symlink: device and inode show whether that still leads to what was listed.
        return {system_.openat(AT_FDCWD, origin.source.c_str(), flags, 0), system_};
    }
    return openLongPath(system_, treeOf(file), collection_.relativePath(file), flags);
}

ChangeTimes FileReader::readFromDisk(const SourceEntry& file, std::uint64_t offset, char* to, std::size_t size) {
    const Origin& origin = collection_.origins[file.origin];
    // The caller's descriptor, read by offset: its position stays as it is.
    if (origin.descriptor >= 0) {
        return readOpened(origin.descriptor, file, offset, to, size);
    }
    const Descriptor opened = open(file);
    if (!opened) {
        // Kept at once: making the message may change errno.
        const int reason = errno;
        if (reason == ELOOP) {  // what O_NOFOLLOW reports about a symlink
            fail(file, "is no longer a regular file");
        }
        failCall(file, "open it", reason);
    }
    return readOpened(opened.get(), file, offset, to, size);
}

ChangeTimes FileReader::readOpened(int descriptor, const SourceEntry& file, std::uint64_t offset, char* to,
                                   std::size_t size) {
    const off_t base = collection_.origins[file.origin].offset;
    // Before the first byte: contents of another file must not get into the package, not even for a moment.
    const struct stat before = statusOf(descriptor, file);
    if (const char* difference = differenceOf(file, base, before)) {
        fail(file, offset == 0 ? difference : kChanged);
    }
    readExactly(descriptor, file, offset, to, size);
    if (offset + size == file.size) {
        char further = 0;
        // guard: sources that grow while they are read
        if (readSome(descriptor, file, file.size, &further, 1) != 0) {
            fail(file, "grew while it was read");
        }
    }
    // After every part, because threads read the parts of a file in any order. On the same descriptor, so that it
    // is the file whose bytes were read.
    const struct stat after = statusOf(descriptor, file);
    if (differenceOf(file, base, after) != nullptr) {  // guard: sources that change while they are read
        fail(file, kChanged);
    }
    return {before.st_ctim, after.st_ctim};
}

void FileReader::readExactly(int descriptor, const SourceEntry& file, std::uint64_t offset, char* to,
                             std::size_t size) {
    for (std::size_t done = 0; done < size;) {
        const std::size_t count =
            readSome(descriptor, file, offset + done, to + done, std::min(size - done, kBufferBytes));
        // The listed size is promised to the header already; it must be reached.
        if (count == 0) {
            fail(file, "shrank while it was read");
        }
        done += count;
    }
}

std::size_t FileReader::readSome(int descriptor, const SourceEntry& file, std::uint64_t offset, char* to,
                                 std::size_t size) {
    const off_t base = collection_.origins[file.origin].offset;
    const ssize_t count = system_.pread(descriptor, to, size, base + static_cast<off_t>(offset));
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
    // O_PATH, because the name is only compared: a file without permission to read is fine.
    const Descriptor opened = openLongPath(system_, treeOf(file), collection_.relativePath(file), O_PATH);
    if (!opened) {
        failCall(file, "open it", errno);
    }
    const struct stat status = statusOf(opened.get(), file);
    if (status.st_dev != file.device || status.st_ino != file.inode) {  // guard: further names of a file
        fail(file, "was replaced after it was listed");
    }
}

int FileReader::treeOf(const SourceEntry& file) {
    // The root of one tree at a time stays open.
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

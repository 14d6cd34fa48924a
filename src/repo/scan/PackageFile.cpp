#include "repo/scan/PackageFile.hpp"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <tuple>

#include "bex/stream/PackageReader.hpp"
#include "repo/base/Failure.hpp"
#include "repo/base/InputFile.hpp"

namespace bex::repo {

namespace {

/// As large as the control archive of nearly every package, so that its bytes are read once.
constexpr std::size_t kBlockBytes = std::size_t{256} << 10;

/// The file for a reader of packages: its first block is in memory already.
class FileWithHead : public stream::Source {
public:
    FileWithHead(const InputFile& file, std::string_view head, std::uint64_t size)
        : file_(file), head_(head), size_(size) {}

    std::uint64_t size() override { return size_; }

    std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
        // A read across the end of the head returns fewer bytes than asked for, which a source may do.
        if (offset < head_.size()) {
            return head_.copy(buffer, size, static_cast<std::size_t>(offset));
        }
        return file_.readAt(offset, buffer, size);
    }

private:
    const InputFile& file_;
    std::string_view head_;
    std::uint64_t size_;
};

StreamError changed(const std::string& name) {
    return failure(ErrorKind::refused, "changed", name, "changed while it was read");
}

}  // namespace

/// The time of the last status change is no part of a stamp: a new link or another mode leaves the bytes alone.
bool operator==(const FileStamp& a, const FileStamp& b) noexcept {
    return std::tie(a.size, a.mtimeNs, a.inode, a.device) == std::tie(b.size, b.mtimeNs, b.inode, b.device);
}

FileStamp stampOf(const struct stat& status, const std::string& name) {
    if (!S_ISREG(status.st_mode)) {
        throw failure(ErrorKind::refused, "not-a-file", name, "is not a regular file");
    }
    // Refused here, so that the message says what is wrong rather than which header is missing.
    if (status.st_size == 0) {
        throw failure(ErrorKind::damaged, "truncated", name, "has no bytes");
    }
    constexpr std::int64_t kSecond = 1000000000;
    return {static_cast<std::uint64_t>(status.st_size), status.st_mtim.tv_sec * kSecond + status.st_mtim.tv_nsec,
            status.st_ino, status.st_dev};
}

FileStamp stampAt(const std::string& path, const std::string& name) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        throw systemFailure(name, "open", errno);
    }
    return stampOf(status, name);
}

PackageFileReader::PackageFileReader(DigestChoice digests, const stream::Limits& limits)
    : hasher_(digests), limits_(limits), buffer_(kBlockBytes) {}

PackageRecord PackageFileReader::read(const std::string& path, const std::string& name, FileStamp& stamp) {
    const InputFile file(path, name);
    // Before the first byte is read: a change from here on differs from the stamp.
    stamp = stampOf(file.status(), name);
    hasher_.finish();  // Drops what a file that failed has left.
    std::size_t count = file.readAt(0, buffer_.data(), buffer_.size());
    hasher_.update({buffer_.data(), count});

    stream::ReadOptions options;
    options.limits = limits_;
    options.threads = 1;  // Each thread has a package of its own.
    const stream::PackageReader reader(
        // The head is a view of buffer_, which is filled again below: the reader is not used after its control
        // paragraph.
        std::make_shared<FileWithHead>(file, std::string_view(buffer_.data(), count), stamp.size), name, options);
    PackageRecord record = recordOf(reader.control(), name);

    std::uint64_t total = count;
    // A block that is not full is the last one. A file that grows all the time must not keep the loop going.
    while (count == buffer_.size() && total <= stamp.size) {
        count = file.readAt(total, buffer_.data(), buffer_.size());
        hasher_.update({buffer_.data(), count});
        total += count;
    }
    // The open file's stamp shows a change of its bytes, the name's another file in its place.
    const bool same = total == stamp.size && stampOf(file.status(), name) == stamp && stampAt(path, name) == stamp;
    if (!same) {  // guard: packages that change while they are hashed
        throw changed(name);
    }
    record.size = total;
    record.digests = hasher_.finish();
    return record;
}

}  // namespace bex::repo

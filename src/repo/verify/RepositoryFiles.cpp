#include "repo/verify/RepositoryFiles.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>
#include <vector>

#include "repo/base/Failure.hpp"
#include "repo/base/Hasher.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::repo {

namespace {

constexpr std::size_t kPieceBytes = std::size_t{1} << 17;

/// A regular file of a directory.
class DiskSource final : public stream::ForwardSource {
public:
    DiskSource(stream::Descriptor file, std::string path) : file_(std::move(file)), path_(std::move(path)) {}

    std::size_t read(char* buffer, std::size_t size) override {
        const ssize_t count = stream::System::real().read(file_.get(), buffer, size);
        if (count < 0) {
            throw systemFailure(path_, "read it", errno);
        }
        return static_cast<std::size_t>(count);
    }

private:
    stream::Descriptor file_;
    std::string path_;
};

void give(std::string* reason, const std::string& text) {
    if (reason != nullptr) {
        *reason = text;
    }
}

}  // namespace

std::unique_ptr<stream::ForwardSource> RepositoryFiles::open(const std::string& path, std::string* reason) const {
    if (check_.open) {
        try {
            return check_.open(path);
        } catch (const StreamError& error) {
            if (error.code() != "remote-status") {
                throw;  // the connection's fault, not the repository's
            }
            give(reason, error.record().reason);
            return nullptr;
        }
    }
    stream::System& system = stream::System::real();
    const std::string whole = root_ + "/" + path;
    // Not blocking: the open of a FIFO would wait for a writer.
    stream::Descriptor file(system.openat(AT_FDCWD, whole.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK, 0), system);
    struct stat status = {};
    if (!file || system.fstat(file.get(), &status) != 0) {
        give(reason, std::string("can't open it: ") + std::strerror(errno));
        return nullptr;
    }
    if (!S_ISREG(status.st_mode)) {
        give(reason, "is not a regular file");
        return nullptr;
    }
    return std::make_unique<DiskSource>(std::move(file), whole);
}

std::optional<std::string> RepositoryFiles::read(const std::string& path, std::uint64_t limit) const {
    std::string bytes;
    std::vector<char> piece(kPieceBytes);
    try {
        const auto source = open(path);
        if (source == nullptr) {
            return std::nullopt;
        }
        // The limit is checked as bytes come: the size that a server states need not be true.
        while (const std::size_t count = source->read(piece.data(), piece.size())) {
            bytes.append(piece.data(), count);
            if (bytes.size() > limit) {
                throw failure(ErrorKind::limitExceeded, "limit", root_ + "/" + path,
                              "is longer than " + std::to_string(limit) + " bytes");
            }
        }
    } catch (const StreamError& error) {
        if (error.code() == "remote-status") {  // a server is asked at the first reading
            return std::nullopt;
        }
        throw;
    }
    return bytes;
}

struct SummedSource::Sum {
    std::unique_ptr<stream::ForwardSource> source;
    std::string first;      // read when it was opened
    std::size_t taken = 0;  // of `first`
    Hasher hasher;
    std::uint64_t size = 0;
};

std::shared_ptr<SummedSource::Sum> SummedSource::open(const RepositoryFiles& files, const std::string& path,
                                                      std::string* reason) {
    auto sum = std::make_shared<Sum>();
    sum->source = files.open(path, reason);
    if (sum->source == nullptr) {
        return nullptr;
    }
    // A server says at the first reading whether it has the file.
    sum->first.resize(kPieceBytes);
    try {
        sum->first.resize(sum->source->read(sum->first.data(), sum->first.size()));
    } catch (const StreamError& error) {
        if (error.code() != "remote-status") {
            throw;
        }
        give(reason, error.record().reason);
        return nullptr;
    }
    return sum;
}

SummedSource::SummedSource(std::shared_ptr<Sum> sum) : sum_(std::move(sum)) {}

SummedSource::~SummedSource() = default;

std::size_t SummedSource::read(char* buffer, std::size_t size) {
    std::size_t count = sum_->first.copy(buffer, size, sum_->taken);
    sum_->taken += count;
    if (count == 0) {
        count = sum_->source->read(buffer, size);
    }
    sum_->hasher.update({buffer, count});
    sum_->size += count;
    return count;
}

IndexedFile SummedSource::finish(Sum& sum, std::uint64_t most) {
    SummedSource rest(std::shared_ptr<Sum>(std::shared_ptr<Sum>(), &sum));  // not owned
    std::vector<char> piece(kPieceBytes);
    while (sum.size <= most && rest.read(piece.data(), piece.size()) != 0) {
    }
    return {sum.hasher.finish().sha256, sum.size};
}

}  // namespace bex::repo

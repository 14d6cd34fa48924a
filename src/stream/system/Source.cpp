#include "stream/system/Source.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "stream/base/Place.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kDiscardBytes = std::size_t{64} << 10;

class DescriptorSource : public Source {
public:
    DescriptorSource(int descriptor, const std::string& name, System& system)
        : descriptor_(descriptor), name_(name), system_(system) {}

protected:
    int descriptor() const noexcept { return descriptor_; }
    System& system() const noexcept { return system_; }

    std::size_t checked(ssize_t count) const {
        if (count < 0) {
            fail(errno);
        }
        return static_cast<std::size_t>(count);
    }

    std::uint64_t currentSize() const {
        struct stat status = {};
        if (system_.fstat(descriptor_, &status) != 0) {
            fail(errno);
        }
        return static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0));
    }

    std::uint64_t readAndDiscard(std::uint64_t size) {
        std::vector<char> scratch(static_cast<std::size_t>(std::min<std::uint64_t>(size, kDiscardBytes)));
        std::uint64_t done = 0;
        while (done < size) {
            const std::uint64_t part = std::min<std::uint64_t>(size - done, scratch.size());
            const std::size_t count = read(scratch.data(), static_cast<std::size_t>(part));
            if (count == 0) {
                break;
            }
            done += count;
        }
        return done;
    }

private:
    [[noreturn]] void fail(int errorNumber) const { throw systemFailure(name_, "read", errorNumber); }

    int descriptor_;
    std::string name_;
    System& system_;
};

/// A pipe, a terminal, a socket: read once, from where it stands.
class ForwardSource final : public DescriptorSource {
public:
    using DescriptorSource::DescriptorSource;

    std::size_t read(char* buffer, std::size_t size) override {
        return checked(system().read(descriptor(), buffer, size));
    }
    std::uint64_t skip(std::uint64_t size) override { return readAndDiscard(size); }
    std::optional<std::uint64_t> left() const override { return std::nullopt; }
};

/// What has offsets but tells no size: a block device.
class OffsetSource : public DescriptorSource {
public:
    using DescriptorSource::DescriptorSource;

    std::size_t read(char* buffer, std::size_t size) override {
        const std::size_t count =
            checked(system().pread(descriptor(), buffer, size, static_cast<off_t>(position_)));
        position_ += count;
        return count;
    }
    std::uint64_t skip(std::uint64_t size) override { return readAndDiscard(size); }
    std::optional<std::uint64_t> left() const override { return std::nullopt; }

protected:
    std::uint64_t position_ = 0;
};

class FileSource final : public OffsetSource {
public:
    FileSource(int descriptor, const std::string& name, System& system)
        : OffsetSource(descriptor, name, system), size_(currentSize()) {}

    std::uint64_t skip(std::uint64_t size) override {
        // Asked anew, so that nobody passes over the end of a file that was cut meanwhile.
        size_ = currentSize();
        const std::uint64_t count = std::min(size, rest());
        position_ += count;
        return count;
    }
    std::optional<std::uint64_t> left() const override { return rest(); }

private:
    std::uint64_t rest() const noexcept { return size_ > position_ ? size_ - position_ : 0; }

    std::uint64_t size_;
};

}  // namespace

std::size_t readFully(Source& source, char* buffer, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const std::size_t count = source.read(buffer + done, size - done);
        if (count == 0) {
            break;
        }
        done += count;
    }
    return done;
}

std::unique_ptr<Source> openSource(int descriptor, const std::string& name, System& system) {
    struct stat status = {};
    if (system.fstat(descriptor, &status) != 0) {
        throw systemFailure(name, "read", errno);
    }
    if (S_ISDIR(status.st_mode)) {
        throw systemFailure(name, "read", EISDIR);
    }
    if (S_ISREG(status.st_mode)) {
        return std::make_unique<FileSource>(descriptor, name, system);
    }
    if (S_ISBLK(status.st_mode)) {
        return std::make_unique<OffsetSource>(descriptor, name, system);
    }
    return std::make_unique<ForwardSource>(descriptor, name, system);
}

}  // namespace bex::stream

#include "stream/system/ByteStream.hpp"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "stream/base/Place.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kDiscardBytes = std::size_t{64} << 10;

/// A position in a source. Several streams may share one source: each has a position of its own.
class SourceStream final : public ByteStream {
public:
    SourceStream(std::shared_ptr<Source> source, std::uint64_t offset)
        : source_(std::move(source)), far_(source_->willRead({})), position_(offset) {}

    std::size_t read(char* buffer, std::size_t size) override {
        const std::size_t count = source_->readAt(position_, buffer, size);
        position_ += count;
        return count;
    }

    std::uint64_t skip(std::uint64_t size) override {
        // Asked each time, so that the end of a source that shrank is not skipped. It may have shrunk below the
        // position: nothing is left then, and the difference must not wrap.
        const std::uint64_t end = source_->size();
        const std::uint64_t count = std::min(size, end - std::min(position_, end));
        position_ += count;
        return count;
    }

    std::optional<SourceOffset> origin() const override {
        if (far_) {
            return std::nullopt;
        }
        return SourceOffset{source_, position_};
    }

private:
    const std::shared_ptr<Source> source_;
    const bool far_;  // fetches ahead what it is told, and so is to be read in order
    std::uint64_t position_;
};

/// A pipe, which is read once from front to back.
class Pipe final : public ForwardSource {
public:
    Pipe(OpenFile file, std::string name, System& system)
        : file_(std::move(file)), name_(std::move(name)), system_(system) {}

    std::size_t read(char* buffer, std::size_t size) override {
        const ssize_t count = system_.read(file_.number, buffer, size);
        if (count < 0) {
            throw systemFailure(name_, "read", errno);
        }
        return static_cast<std::size_t>(count);
    }

private:
    const OpenFile file_;
    const std::string name_;
    System& system_;
};

class ForwardStream final : public ByteStream {
public:
    explicit ForwardStream(std::unique_ptr<ForwardSource> source) : source_(std::move(source)) {}

    std::size_t read(char* buffer, std::size_t size) override { return source_->read(buffer, size); }

    std::uint64_t skip(std::uint64_t size) override {
        // Read to be skipped; bounded, whatever size a header asks for.
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
    const std::unique_ptr<ForwardSource> source_;
};

}  // namespace

std::size_t readFully(ByteStream& stream, char* buffer, std::size_t size) {
    // A stream may return fewer bytes than asked for before its end, as a pipe does. Only 0 means the end.
    std::size_t done = 0;
    while (done < size) {
        const std::size_t count = stream.read(buffer + done, size - done);
        if (count == 0) {
            break;
        }
        done += count;
    }
    return done;
}

std::unique_ptr<ByteStream> streamOf(std::shared_ptr<Source> source, std::uint64_t offset) {
    return std::make_unique<SourceStream>(std::move(source), offset);
}

OpenInput openInput(std::shared_ptr<Source> source) {
    // Made first: the return statement gives the pointer away.
    std::unique_ptr<ByteStream> stream = streamOf(source);
    return {std::move(source), std::move(stream)};
}

OpenInput openInput(std::unique_ptr<ForwardSource> source) {
    return {nullptr, std::make_unique<ForwardStream>(std::move(source))};
}

OpenInput openInput(OpenFile file, const std::string& name, System& system) {
    if (isRegularFile(file, name, system)) {
        return openInput(std::make_shared<FileSource>(std::move(file), name, system));
    }
    return openInput(std::make_unique<Pipe>(std::move(file), name, system));
}

OpenInput openInput(const std::string& path, System& system) {
    return openInput(openForReading(path, system), path, system);
}

}  // namespace bex::stream

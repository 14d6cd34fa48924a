#include "stream/codec/CompressingSink.hpp"

#include <exception>
#include <string>

#include "bex/stream/StreamError.hpp"
#include "stream/codec/Encoder.hpp"
#include "stream/codec/Gzip.hpp"

namespace bex::stream {

namespace {

StreamError invalid(const std::string& reason) {
    return invalidInput("", reason);
}

void checkLevel(const CompressionSettings& settings, int lowest, int highest) {
    if (settings.level < lowest || settings.level > highest) {
        throw invalid("compression level " + std::to_string(settings.level) + ": " +
                      std::string(nameOf(settings.compression)) + " has levels " + std::to_string(lowest) +
                      " to " + std::to_string(highest));
    }
}

void checkBlockBytes(std::size_t bytes) {
    if (bytes == 0 || bytes > kMaximumBlockBytes) {
        throw invalid("compression blocks of " + std::to_string(bytes) + " bytes: must be 1 to " +
                      std::to_string(kMaximumBlockBytes));
    }
}

class PlainEncoder final : public Encoder {
public:
    explicit PlainEncoder(Sink& out) : out_(out) {}
    void write(const char* data, std::size_t size) override { out_.write(data, size); }
    void finish() override {}

private:
    Sink& out_;
};

std::unique_ptr<Encoder> makeEncoder(Sink& out, const CompressionSettings& settings) {
    switch (settings.compression) {
        case Compression::none:
            return std::make_unique<PlainEncoder>(out);
        case Compression::gzip:
            checkLevel(settings, 0, 12);
            checkBlockBytes(settings.blockBytes);
            return makeBlockEncoder(out, settings);
        case Compression::zstd:
            checkLevel(settings, 1, 19);
            return makeZstdEncoder(out, settings);
        case Compression::xz:
            checkLevel(settings, 0, 9);
            return makeXzEncoder(out, settings);
        case Compression::bzip2:
            break;
    }
    throw invalid("compression " + std::string(nameOf(settings.compression)) + " is read, not written");
}

}  // namespace

class CompressingSink::Stage {
public:
    Stage(Sink& out, const CompressionSettings& settings) : encoder_(makeEncoder(out, settings)) {}

    /// Runs `step` on the encoder. The first failure ends the encoder, with its threads, and is all that later
    /// calls give.
    template <typename Step>
    void run(Step step) {
        if (failure_) {
            std::rethrow_exception(failure_);
        }
        try {
            step(*encoder_);
        } catch (...) {
            failure_ = std::current_exception();
            encoder_.reset();
            throw;
        }
    }

private:
    std::unique_ptr<Encoder> encoder_;
    std::exception_ptr failure_;
};

CompressingSink::CompressingSink(Sink& out, const CompressionSettings& settings)
    : stage_(std::make_unique<Stage>(out, settings)) {}

CompressingSink::~CompressingSink() = default;

void CompressingSink::write(const char* data, std::size_t size) {
    stage_->run([&](Encoder& encoder) { encoder.write(data, size); });
}

void CompressingSink::finish() {
    stage_->run([](Encoder& encoder) { encoder.finish(); });
}

}  // namespace bex::stream

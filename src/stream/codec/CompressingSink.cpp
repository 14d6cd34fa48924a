#include "stream/codec/CompressingSink.hpp"

#include <algorithm>
#include <string>
#include <utility>

#include "stream/base/Place.hpp"
#include "stream/codec/Encoder.hpp"
#include "stream/codec/Gzip.hpp"

namespace bex::stream {

namespace {

class PlainEncoder final : public Encoder {
public:
    explicit PlainEncoder(Sink& out) : out_(out) {}
    void write(const char* data, std::size_t size) override { out_.write(data, size); }
    void finish() override {}

private:
    Sink& out_;
};

std::unique_ptr<Encoder> makeEncoder(Sink& out, const CompressionSettings& settings) {
    // First: the encoders rely on a level and a block size within bounds, and do not check them again.
    checkSettings(settings);
    switch (settings.compression) {
        case Compression::none:
            return std::make_unique<PlainEncoder>(out);
        case Compression::gzip:
            return settings.singleStream ? makeGzipEncoder(out, settings) : makeBlockEncoder(out, settings);
        case Compression::zstd:
            return makeZstdEncoder(out, settings);
        case Compression::xz:
            return makeXzEncoder(out, settings);
        case Compression::bzip2:
            break;  // refused by checkSettings()
    }
    return nullptr;
}

void checkLevel(const CompressionSettings& settings) {
    CompressionLevels levels = levelsOf(settings.compression);
    if (settings.singleStream) {
        levels.highest = std::min(levels.highest, 9);  // zlib's
    }
    if (settings.level < levels.lowest || settings.level > levels.highest) {
        throw invalidInput("", "compression level " + std::to_string(settings.level) + ": " +
                                   std::string(nameOf(settings.compression)) + " has levels " +
                                   std::to_string(levels.lowest) + " to " + std::to_string(levels.highest));
    }
}

}  // namespace

void checkSettings(const CompressionSettings& settings) {
    if (settings.compression == Compression::bzip2) {
        throw invalidInput("", "compression bzip2 is read, not written");
    }
    if (settings.singleStream && settings.compression != Compression::gzip) {
        throw invalidInput("", "only gzip is written as a single stream or in blocks");
    }
    // Without compression there are no levels, and the setting is ignored.
    if (settings.compression != Compression::none) {
        checkLevel(settings);
    }
    if (settings.compression == Compression::gzip &&
        // A reader refuses blocks that unpack to more, so they must not be written either.
        (settings.blockBytes == 0 || settings.blockBytes > kMaximumBlockBytes)) {
        throw invalidInput("", "compression blocks of " + std::to_string(settings.blockBytes) +
                                   " bytes: must be 1 to " + std::to_string(kMaximumBlockBytes));
    }
}

CompressingSink::CompressingSink(Sink& out, const CompressionSettings& settings)
    : encoder_(makeEncoder(out, settings)) {}

CompressingSink::~CompressingSink() = default;

/// Runs `step` on the encoder. The first failure is all that later calls give: more bytes would make an output
/// with a gap.
template <typename Step>
void CompressingSink::run(Step step) {
    failure_.guard([&] {
        // A failure ends the encoder at once, with its threads, which may hold blocks that no one will take.
        std::unique_ptr<Encoder> encoder = std::move(encoder_);
        step(*encoder);
        encoder_ = std::move(encoder);
    });
}

void CompressingSink::write(const char* data, std::size_t size) {
    run([&](Encoder& encoder) { encoder.write(data, size); });
}

void CompressingSink::finish() {
    run([](Encoder& encoder) { encoder.finish(); });
}

}  // namespace bex::stream

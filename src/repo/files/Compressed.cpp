#include "repo/files/Compressed.hpp"

#include <memory>

#include "bex/stream/Source.hpp"
#include "stream/base/StringSink.hpp"
#include "stream/codec/CompressingSink.hpp"
#include "stream/codec/Decompressor.hpp"
#include "stream/system/ByteStream.hpp"

namespace bex::repo {

std::string compressed(const TextWriter& text, stream::Compression compression, unsigned threads) {
    stream::StringSink out;
    stream::CompressionSettings settings;
    settings.compression = compression;
    settings.level = stream::levelsOf(compression).usual;
    settings.threads = threads;
    stream::CompressingSink sink(out, settings);
    text(sink);
    sink.finish();
    return std::move(out.bytes);
}

std::string decompressed(const std::string& bytes, stream::Compression compression, const std::string& name) {
    const auto source = stream::streamOf(stream::Source::ofMemory(bytes));
    const auto decompressor = stream::openDecompressor(*source, compression, stream::Place(name), {});
    std::string text;
    for (std::string_view piece = decompressor->next(); !piece.empty(); piece = decompressor->next()) {
        text += piece;
    }
    return text;
}

}  // namespace bex::repo

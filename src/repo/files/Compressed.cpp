#include "repo/files/Compressed.hpp"

#include <zstd.h>

#include <memory>
#include <new>

#include "bex/stream/Source.hpp"
#include "repo/base/Failure.hpp"
#include "stream/base/StringSink.hpp"
#include "stream/codec/CompressingSink.hpp"
#include "stream/codec/Decompressor.hpp"
#include "stream/system/ByteStream.hpp"

namespace bex::repo {

std::string compressed(const TextWriter& text, stream::Compression compression, unsigned threads,
                       std::size_t blockBytes) {
    stream::StringSink out;
    stream::CompressionSettings settings;
    settings.compression = compression;
    settings.level = stream::levelsOf(compression).usual;
    settings.threads = threads;
    settings.blockBytes = blockBytes;
    stream::CompressingSink sink(out, settings);
    text(sink);
    sink.finish();
    return std::move(out.bytes);
}

std::string zstdFrameOf(std::string_view text) {
    const std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> context(ZSTD_createCCtx(), &ZSTD_freeCCtx);
    if (context == nullptr) {
        throw std::bad_alloc();
    }
    const auto check = [](std::size_t result) {
        if (ZSTD_isError(result) != 0) {
            throw StreamError(ErrorKind::inputOutput,
                              std::string("can't compress with zstd: ") + ZSTD_getErrorName(result));
        }
        return result;
    };
    check(ZSTD_CCtx_setParameter(context.get(), ZSTD_c_compressionLevel,
                                 stream::levelsOf(stream::Compression::zstd).usual));
    check(ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, 1));
    std::string frame(ZSTD_compressBound(text.size()), '\0');
    frame.resize(check(ZSTD_compress2(context.get(), frame.data(), frame.size(), text.data(), text.size())));
    return frame;
}

std::string decompressed(const std::string& bytes, stream::Compression compression, const std::string& name,
                         std::size_t expectedBytes) {
    const auto source = stream::streamOf(stream::Source::ofMemory(bytes));
    const auto decompressor = stream::openDecompressor(*source, compression, stream::Place(name), {});
    std::string text;
    text.reserve(expectedBytes);
    for (std::string_view piece = decompressor->next(); !piece.empty(); piece = decompressor->next()) {
        text += piece;
    }
    return text;
}

}  // namespace bex::repo

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Sink.hpp"

namespace bex::repo {

/// Writes a text in pieces to the sink that it is given.
using TextWriter = std::function<void(stream::Sink& out)>;

/// The text, compressed. The bytes do not depend on the number of threads. gzip is written in blocks of
/// `blockBytes`.
std::string compressed(const TextWriter& text, stream::Compression compression, unsigned threads,
                       std::size_t blockBytes = std::size_t{1} << 20);

/// A text in memory as one zstd frame, at the usual level. The tables of the compressor are as small as the text
/// allows, where compressed() takes 30 MiB for any.
std::string zstdFrameOf(std::string_view text);

/// The text of a compressed file; messages call it `name`. Throws StreamError (`damaged`). `expectedBytes` of
/// memory are taken at once, which spares copies.
std::string decompressed(const std::string& bytes, stream::Compression compression, const std::string& name,
                         std::size_t expectedBytes = 0);

}  // namespace bex::repo

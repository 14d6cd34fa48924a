#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Sink.hpp"

namespace bex::repo {

/// Writes a text in pieces to the sink that it is given.
using TextWriter = std::function<void(stream::Sink& out)>;

/// The text, compressed. The bytes do not depend on the number of threads.
std::string compressed(const TextWriter& text, stream::Compression compression, unsigned threads);

/// The text of a compressed file; messages call it `name`. Throws StreamError (`damaged`).
std::string decompressed(const std::string& bytes, stream::Compression compression, const std::string& name);

}  // namespace bex::repo

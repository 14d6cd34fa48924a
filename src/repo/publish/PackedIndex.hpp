#pragma once

#include <string>
#include <string_view>

#include "bex/stream/Compression.hpp"
#include "repo/index/IndexText.hpp"

namespace bex::repo {

/// The index that the new one takes the place of: its text, in which most stanzas of the new one lie, and its gzip
/// file. Both are empty where there is none.
struct IndexBefore {
    std::string_view text;
    std::string gzip;
};

/// The index, compressed. gzip is written in members of one block each, and members of blocks that did not change
/// are taken from the file before, so that the time depends on what changed. The bytes depend on the text alone,
/// as long as one version of the compressor made them.
std::string packed(const IndexText& index, stream::Compression compression, const IndexBefore& before,
                   unsigned threads);

}  // namespace bex::repo

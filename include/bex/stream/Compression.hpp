#pragma once

#include <string_view>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// How a member of the package is compressed.
enum class Compression { none, gzip, xz, zstd, bzip2 };

/// The end of the member's name, as in "data.tar.gz": ".gz", ".xz", ".zst", ".bz2", or "" for none.
BEX_EXPORT std::string_view suffixOf(Compression compression) noexcept;

/// The levels of a format.
struct CompressionLevels {
    int lowest;
    int highest;
    int usual;  ///< the default
};

/// The levels for writing packages: gzip 0 to 12 (6), zstd 1 to 22 (3), xz 0 to 9 (6); 0 to 0 (0) for the
/// others.
BEX_EXPORT CompressionLevels levelsOf(Compression compression) noexcept;

/// The word for people and options: "gzip", "xz", "zstd", "bzip2", "none".
BEX_EXPORT std::string_view nameOf(Compression compression) noexcept;

}  // namespace bex::stream

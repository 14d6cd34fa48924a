#include "bex/stream/Compression.hpp"

namespace bex::stream {

namespace {

struct Format {
    std::string_view suffix;
    std::string_view name;
    CompressionLevels levels;
};

/// One table for all formats. The suffixes are those that deb(5) gives the members; the levels are those that the
/// encoders accept (libdeflate has 12 for gzip). `{0, 0, 0}` marks a format without levels, and bzip2, which is
/// only read.
Format formatOf(Compression compression) noexcept {
    switch (compression) {
        case Compression::none:
            return {"", "none", {0, 0, 0}};
        case Compression::gzip:
            return {".gz", "gzip", {0, 12, 6}};
        case Compression::xz:
            return {".xz", "xz", {0, 9, 6}};
        case Compression::zstd:
            return {".zst", "zstd", {1, 22, 3}};
        case Compression::bzip2:
            return {".bz2", "bzip2", {0, 0, 0}};
    }
    // Reached only by a value outside the enumeration.
    return {};
}

}  // namespace

std::string_view suffixOf(Compression compression) noexcept {
    return formatOf(compression).suffix;
}

std::string_view nameOf(Compression compression) noexcept {
    return formatOf(compression).name;
}

CompressionLevels levelsOf(Compression compression) noexcept {
    return formatOf(compression).levels;
}

}  // namespace bex::stream

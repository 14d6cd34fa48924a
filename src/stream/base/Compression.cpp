#include "bex/stream/Compression.hpp"

namespace bex::stream {
namespace {

struct Names {
    std::string_view suffix;
    std::string_view name;
};

Names namesOf(Compression compression) noexcept {
    switch (compression) {
        case Compression::none:
            return {"", "none"};
        case Compression::gzip:
            return {".gz", "gzip"};
        case Compression::xz:
            return {".xz", "xz"};
        case Compression::zstd:
            return {".zst", "zstd"};
        case Compression::bzip2:
            return {".bz2", "bzip2"};
    }
    return {};
}

}  // namespace

std::string_view suffixOf(Compression compression) noexcept {
    return namesOf(compression).suffix;
}

std::string_view nameOf(Compression compression) noexcept {
    return namesOf(compression).name;
}

}  // namespace bex::stream

#include "arguments/CompressionOptions.hpp"

#include <string>

#include "arguments/Choice.hpp"
#include "arguments/Number.hpp"

namespace bex::tool {

using stream::Compression;

namespace {

/// "gzip 0-12 (6), zstd ..., none".
std::string levelsText() {
    std::string text;
    for (const Compression kind : {Compression::gzip, Compression::zstd, Compression::xz}) {
        const stream::CompressionLevels levels = stream::levelsOf(kind);
        text += std::string(nameOf(kind)) + " " + std::to_string(levels.lowest) + "-" +
                std::to_string(levels.highest) + " (" + std::to_string(levels.usual) + "), ";
    }
    return text + std::string(nameOf(Compression::none));
}

}  // namespace

void addCompressionOptions(CLI::App& app, const std::function<void(Compression)>& setKind,
                           const std::function<void(int)>& setLevel) {
    const std::string row = levelsText();
    addChoice<Compression>(app, "-Z,--compression", "How to compress",
                           {{"gzip", Compression::gzip},
                            {"zstd", Compression::zstd},
                            {"xz", Compression::xz},
                            {"none", Compression::none}},
                           setKind)
        ->option_text("KIND")
        ->group(row);
    addNumber<int>(app, "-z,--level", "How hard to compress", setLevel)->group(row);
}

}  // namespace bex::tool

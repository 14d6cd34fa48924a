#include "Target.hpp"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "bex/stream/Escape.hpp"

namespace bex::fuzz {

const std::vector<Target>& targets() {
    static const std::vector<Target> all = {
        {"control", Shape::bytes, runControl},
        {"md5sums", Shape::bytes, runMd5sums},
        {"escape", Shape::bytes, runEscape},
        {"elf", Shape::bytes, runElf},
        {"symbols", Shape::bytes, runSymbols},
        {"buildfile", Shape::bytes, runBuildFile},
        {"repository", Shape::bytes, runRepository},
        {"ar", Shape::ar, runAr},
        {"gzip", Shape::gzip, runGzip},
        {"tar", Shape::tar, runTar},
        {"reader", Shape::package, runReader},
        {"extract", Shape::package, runExtract},
        {"index", Shape::bytes, runIndex},
        {"indexed", Shape::package, runIndexed},
        {"object", Shape::package, runObject},
        {"roundtrip", Shape::bytes, runRoundTrip},
    };
    return all;
}

const Target& targetNamed(std::string_view name) {
    const auto found = std::find_if(targets().begin(), targets().end(),
                                    [&](const Target& target) { return target.name == name; });
    if (found == targets().end()) {
        throw std::runtime_error("no fuzz target is called \"" + std::string(name) + '"');
    }
    return *found;
}

void require(bool holds, const char* promise, const std::string& found) {
    if (!holds) {
        std::cerr << "broken promise: " << promise << '\n' << stream::escapeForDisplay(found) << std::endl;
        std::abort();
    }
}

void requireEqual(const std::string& one, const std::string& other, const char* promise) {
    require(one == other, promise, one == other ? std::string() : one + "\n-- against --\n" + other);
}

bool actsOnTerminals(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string_view here = text.substr(i);
        const auto byte = static_cast<unsigned char>(here[0]);
        const auto second = static_cast<unsigned char>(here.size() > 1 ? here[1] : 0);
        const auto third = static_cast<unsigned char>(here.size() > 2 ? here[2] : 0);
        const bool control = byte < 0x20 || byte == 0x7f || (byte == 0xc2 && second >= 0x80 && second < 0xa0);
        const bool arabicMark = byte == 0xd8 && second == 0x9c;
        const bool mark =
            byte == 0xe2 && second == 0x80 && (third == 0x8e || third == 0x8f || (third >= 0xa8 && third <= 0xae));
        const bool isolate = byte == 0xe2 && second == 0x81 && third >= 0xa6 && third <= 0xa9;
        if (control || arabicMark || mark || isolate) {
            return true;
        }
    }
    return false;
}

stream::ReadOptions tightOptions(unsigned threads) {
    stream::ReadOptions options;
    options.threads = threads;
    options.limits.controlBytes = std::size_t{256} << 10;
    options.limits.nameBytes = 2000;
    options.limits.extendedHeaderBytes = std::size_t{16} << 10;
    options.limits.expansionRatio = 20;
    options.limits.expansionFreeBytes = std::size_t{1} << 20;
    options.limits.xzMemoryBytes = std::size_t{16} << 20;
    options.limits.zstdWindowLog = 20;
    options.limits.entries = 200;
    options.limits.indexBytes = std::size_t{1} << 20;
    return options;
}

}  // namespace bex::fuzz

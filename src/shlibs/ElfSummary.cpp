#include "bex/shlibs/ElfSummary.hpp"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "shlibs/base/Failure.hpp"
#include "shlibs/base/ReadStart.hpp"
#include "shlibs/elf/ElfFile.hpp"
#include "shlibs/elf/ElfImage.hpp"
#include "stream/base/Owners.hpp"

namespace bex::shlibs {

ElfSummary summarizeElf(const std::string& path) {
    const stream::PlainDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file) {
        throw systemFailure(path, errno);
    }
    std::array<char, kElfHeaderBytes> header{};
    const std::size_t size = readStart(file.get(), header.data(), header.size(), path);
    ElfSummary summary;
    if (!isElf({header.data(), size})) {
        return summary;
    }
    const ElfImage image(file.get(), path);
    if (image.type() == ET_EXEC || image.type() == ET_DYN) {
        const bool runs = image.type() == ET_EXEC || image.hasInterpreter();
        summary.kind = runs ? ElfSummary::Kind::program : ElfSummary::Kind::library;
    }
    summary.multiarch = multiarchOf(architectureOf(image.machine()));
    summary.buildId = image.buildId();
    summary.hasSymbols = image.hasSymbols();
    return summary;
}

}  // namespace bex::shlibs

void bexSummarizeElf(const std::string& path, bex::shlibs::ElfSummary& summary) {
    summary = bex::shlibs::summarizeElf(path);
}

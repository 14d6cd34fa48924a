#pragma once

#include <string>

#include "bex/stream/Export.hpp"

namespace bex::shlibs {

/// What a packager asks of a file before it strips it.
struct ElfSummary {
    /// Programs and libraries can be stripped; `other` is everything else, files that are not ELF among it.
    enum class Kind { program, library, other };

    Kind kind = Kind::other;
    std::string multiarch;    ///< such as "aarch64-linux-gnu"; empty where Debian has no name for the machine
    std::string buildId;      ///< in hexadecimal digits; empty where there is none
    bool hasSymbols = false;  ///< there is something to strip: a table of symbols, or debugging information
};

/// Looks at a regular file. Throws stream::StreamError (`damaged` for an ELF file that is cut, `inputOutput`).
BEX_EXPORT ElfSummary summarizeElf(const std::string& path);

}  // namespace bex::shlibs

/// summarizeElf() under a name that dlsym(3) finds.
extern "C" BEX_EXPORT void bexSummarizeElf(const std::string& path, bex::shlibs::ElfSummary& summary);

#pragma once

#include <string>

#include "bex/stream/Export.hpp"

namespace bex::shlibs {

/// What a packager needs to know about a file before stripping it.
struct ElfSummary {
    /// Programs and libraries can be stripped; `other` is everything else, including files that are not ELF.
    enum class Kind { program, library, other };

    Kind kind = Kind::other;
    std::string multiarch;    ///< such as "aarch64-linux-gnu"; empty if Debian has no name for the machine
    std::string buildId;      ///< in hexadecimal digits; empty if there is none
    bool hasSymbols = false;  ///< it has something to strip: a symbol table or debugging information
};

/// Examines a regular file. Throws stream::StreamError (`damaged` for a truncated ELF file, `inputOutput`).
BEX_EXPORT ElfSummary summarizeElf(const std::string& path);

}  // namespace bex::shlibs

/// summarizeElf() under a name that dlsym(3) finds.
extern "C" BEX_EXPORT void bexSummarizeElf(const std::string& path, bex::shlibs::ElfSummary& summary);

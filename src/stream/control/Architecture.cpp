#include "bex/stream/Architecture.hpp"

namespace bex::stream {

namespace {

struct Synonym {
    std::string_view foreign;
    std::string_view debian;
};

// Not here: words that Debian itself has used for a port, such as "arm" and "s390".
constexpr Synonym kSynonyms[] = {
    {"x86_64", "amd64"},      {"x86-64", "amd64"},        {"x64", "amd64"},       {"386", "i386"},
    {"i486", "i386"},         {"i586", "i386"},           {"i686", "i386"},       {"x86", "i386"},
    {"ia32", "i386"},         {"aarch64", "arm64"},       {"armv8", "arm64"},     {"arm5", "armel"},
    {"armv5te", "armel"},     {"armv5tel", "armel"},      {"arm6", "armhf"},      {"arm7", "armhf"},
    {"armhfp", "armhf"},      {"armv7", "armhf"},         {"armv7l", "armhf"},    {"armv7hl", "armhf"},
    {"mipsle", "mipsel"},     {"mips64le", "mips64el"},   {"ppc64le", "ppc64el"}, {"powerpc64le", "ppc64el"},
    {"riscv64gc", "riscv64"}, {"loongarch64", "loong64"}, {"noarch", "all"},
};

}  // namespace

std::string_view nativeArchitecture() noexcept {
// x32 first: its compilers define __x86_64__ as well.
#if defined(__x86_64__) && defined(__ILP32__)
    return "x32";
#elif defined(__x86_64__)
    return "amd64";
#elif defined(__i386__)
    return "i386";
#elif defined(__aarch64__) && defined(__AARCH64EL__)
    return "arm64";
// The float ABI is what tells armhf from armel, not the processor.
#elif defined(__arm__) && defined(__ARM_PCS_VFP)
    return "armhf";
#elif defined(__arm__)
    return "armel";
#elif defined(__powerpc64__) && defined(__LITTLE_ENDIAN__)
    return "ppc64el";
#elif defined(__riscv) && __riscv_xlen == 64
    return "riscv64";
#elif defined(__s390x__)
    return "s390x";
#elif defined(__loongarch64)
    return "loong64";
#elif defined(__mips64) && defined(__MIPSEL__)
    return "mips64el";
#elif defined(__mips__) && defined(__MIPSEL__)
    return "mipsel";
#else
    return "";
#endif
}

std::string_view debianArchitecture(std::string_view foreign) noexcept {
    // Linear: the table is short, and a package has one architecture.
    for (const Synonym& synonym : kSynonyms) {
        if (synonym.foreign == foreign) {
            return synonym.debian;
        }
    }
    return "";
}

}  // namespace bex::stream

#include "shlibs/base/Architecture.hpp"

#include <elf.h>

#include <algorithm>
#include <array>

namespace bex::shlibs {

namespace {

// Bits of e_flags by the ELF supplements of the processors: EF_ARM_ABI_FLOAT_HARD, EF_MIPS_ABI2,
// EF_RISCV_FLOAT_ABI. Other bits, such as instruction sets, do not keep two files from running together.
constexpr std::uint32_t kArmHardFloat = 0x400;
constexpr std::uint32_t kMipsN32 = 0x20;
constexpr std::uint32_t kRiscvFloat = 0x6;
constexpr std::uint16_t kLoongArch = 258;
// The interim number that files for Alpha really carry; the registered one, 41, was never used.
constexpr std::uint16_t kAlpha = 0x9026;

/// `machine` identifies the row: no two rows have the same one, or architectureOf() would give the first.
struct Known {
    std::string_view name;
    std::string_view multiarch;
    Machine machine;
};

/// dpkg-architecture(1) lists the names.
constexpr std::array<Known, 22> kKnown{{
    {"amd64", "x86_64-linux-gnu", {ELFCLASS64, ELFDATA2LSB, EM_X86_64, 0}},
    {"x32", "x86_64-linux-gnux32", {ELFCLASS32, ELFDATA2LSB, EM_X86_64, 0}},
    {"i386", "i386-linux-gnu", {ELFCLASS32, ELFDATA2LSB, EM_386, 0}},
    {"arm64", "aarch64-linux-gnu", {ELFCLASS64, ELFDATA2LSB, EM_AARCH64, 0}},
    {"armhf", "arm-linux-gnueabihf", {ELFCLASS32, ELFDATA2LSB, EM_ARM, kArmHardFloat}},
    {"armel", "arm-linux-gnueabi", {ELFCLASS32, ELFDATA2LSB, EM_ARM, 0}},
    {"ppc64el", "powerpc64le-linux-gnu", {ELFCLASS64, ELFDATA2LSB, EM_PPC64, 0}},
    {"ppc64", "powerpc64-linux-gnu", {ELFCLASS64, ELFDATA2MSB, EM_PPC64, 0}},
    {"powerpc", "powerpc-linux-gnu", {ELFCLASS32, ELFDATA2MSB, EM_PPC, 0}},
    {"riscv64", "riscv64-linux-gnu", {ELFCLASS64, ELFDATA2LSB, EM_RISCV, 0x4}},
    {"s390x", "s390x-linux-gnu", {ELFCLASS64, ELFDATA2MSB, EM_S390, 0}},
    {"mips64el", "mips64el-linux-gnuabi64", {ELFCLASS64, ELFDATA2LSB, EM_MIPS, 0}},
    {"mipsel", "mipsel-linux-gnu", {ELFCLASS32, ELFDATA2LSB, EM_MIPS, 0}},
    {"mips64", "mips64-linux-gnuabi64", {ELFCLASS64, ELFDATA2MSB, EM_MIPS, 0}},
    {"mips", "mips-linux-gnu", {ELFCLASS32, ELFDATA2MSB, EM_MIPS, 0}},
    {"loong64", "loongarch64-linux-gnu", {ELFCLASS64, ELFDATA2LSB, kLoongArch, 0}},
    {"sparc64", "sparc64-linux-gnu", {ELFCLASS64, ELFDATA2MSB, EM_SPARCV9, 0}},
    {"ia64", "ia64-linux-gnu", {ELFCLASS64, ELFDATA2LSB, EM_IA_64, 0}},
    {"alpha", "alpha-linux-gnu", {ELFCLASS64, ELFDATA2LSB, kAlpha, 0}},
    {"hppa", "hppa-linux-gnu", {ELFCLASS32, ELFDATA2MSB, EM_PARISC, 0}},
    {"m68k", "m68k-linux-gnu", {ELFCLASS32, ELFDATA2MSB, EM_68K, 0}},
    {"sh4", "sh4-linux-gnu", {ELFCLASS32, ELFDATA2LSB, EM_SH, 0}},
}};

/// Null for a name that is not in the table. Linear: the table is small and asked a few times per file.
const Known* known(std::string_view name) noexcept {
    for (const Known& one : kKnown) {
        if (one.name == name) {
            return &one;
        }
    }
    return nullptr;
}

}  // namespace

std::uint32_t abiFlags(std::uint16_t machine, std::uint32_t flags) noexcept {
    switch (machine) {
        case EM_ARM:
            return flags & kArmHardFloat;
        case EM_MIPS:
            return flags & kMipsN32;
        case EM_RISCV:
            return flags & kRiscvFloat;
        default:
            return 0;
    }
}

std::string architectureOf(const Machine& machine) {
    for (const Known& one : kKnown) {
        if (one.machine == machine) {
            return std::string(one.name);
        }
    }
    // Not a name that isArchitecture() knows, so no request can ask for it.
    const unsigned bits = machine.elfClass == ELFCLASS64 ? 64 : 32;
    return std::to_string(bits) + "-bit ELF machine " + std::to_string(machine.number);
}

std::string_view multiarchOf(std::string_view architecture) noexcept {
    const Known* found = known(architecture);
    if (found == nullptr) {
        return {};
    }
    return found->multiarch;
}

bool isArchitecture(std::string_view architecture) noexcept {
    return known(architecture) != nullptr;
}

unsigned bitsOf(std::string_view architecture) noexcept {
    const Known* found = known(architecture);
    return found != nullptr && found->machine.elfClass == ELFCLASS32 ? 32 : 64;
}

bool isLittleEndian(std::string_view architecture) noexcept {
    const Known* found = known(architecture);
    return found == nullptr || found->machine.byteOrder == ELFDATA2LSB;
}

}  // namespace bex::shlibs

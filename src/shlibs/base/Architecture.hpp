#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace bex::shlibs {

/// What of an ELF header decides whether two files can run in one process.
struct Machine {
    std::uint8_t elfClass = 0;   ///< ELFCLASS32 or ELFCLASS64
    std::uint8_t byteOrder = 0;  ///< ELFDATA2LSB or ELFDATA2MSB
    std::uint16_t number = 0;    ///< e_machine
    std::uint32_t abi = 0;       ///< the bits of e_flags that name a calling convention

    friend bool operator==(const Machine& a, const Machine& b) noexcept {
        return a.elfClass == b.elfClass && a.byteOrder == b.byteOrder && a.number == b.number && a.abi == b.abi;
    }
};

/// Keeps of e_flags what belongs into Machine::abi.
std::uint32_t abiFlags(std::uint16_t machine, std::uint32_t flags) noexcept;

/// Debian's name, such as "arm64"; "ELF machine 99" and the like for machines that Debian has no name for.
std::string architectureOf(const Machine& machine);

/// The name of the architecture's directories below /usr/lib, such as "aarch64-linux-gnu"; empty where it is
/// unknown.
std::string_view multiarchOf(std::string_view architecture) noexcept;

/// Whether Debian's name is one that architectureOf() gives.
bool isArchitecture(std::string_view architecture) noexcept;

/// 32 or 64, and whether the least significant byte comes first. For names that isArchitecture() knows.
unsigned bitsOf(std::string_view architecture) noexcept;
bool isLittleEndian(std::string_view architecture) noexcept;

}  // namespace bex::shlibs

#pragma once

#include <gelf.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shlibs/base/Architecture.hpp"

namespace bex::shlibs {

/// Bytes of an ELF file that libelf has in memory, in the byte order of the file.
struct Chunk {
    const unsigned char* data = nullptr;
    std::size_t size = 0;
};

/// An opened ELF file: headers, and bytes by the address that they are loaded at.
class ElfImage {
public:
    ElfImage(int descriptor, std::string name);
    ElfImage(std::string_view image, std::string name);

    const std::string& name() const noexcept { return name_; }
    Machine machine() const noexcept { return machine_; }
    /// ET_EXEC, ET_DYN, ET_REL, ...
    std::uint16_t type() const noexcept { return type_; }
    /// Whether the file names a dynamic linker, as a program does.
    bool hasInterpreter() const noexcept;
    /// The linker's note of what it made, in hexadecimal digits; empty where there is none.
    std::string buildId() const;
    /// Whether there is a table of symbols that running does not need, or debugging information.
    bool hasSymbols() const;

    /// The entries of the dynamic segment up to DT_NULL; empty where there is none.
    std::vector<GElf_Dyn> dynamic() const;

    /// Up to `size` bytes from the address on, as far as its segment goes in the file.
    /// Throws stream::StreamError (`damaged`) where the address belongs to no segment, naming `what`.
    Chunk at(std::uint64_t address, std::uint64_t size, const char* what) const;

    /// The same, but all `size` bytes or a stream::StreamError.
    Chunk allAt(std::uint64_t address, std::uint64_t size, const char* what) const;

    /// Symbols from the address on, in the machine's own byte order.
    std::vector<GElf_Sym> symbols(std::uint64_t address, std::size_t count) const;

    /// How many symbols the section of dynamic symbols has, where there is one at that address.
    std::optional<std::uint64_t> symbolsInSection(std::uint64_t address) const;

    std::uint16_t half(const unsigned char* bytes) const noexcept;
    std::uint32_t word(const unsigned char* bytes) const noexcept;
    std::uint64_t doubleWord(const unsigned char* bytes) const noexcept;
    bool is64() const noexcept { return machine_.elfClass == ELFCLASS64; }
    /// Bytes of an address: 8 or 4.
    std::size_t addressBytes() const noexcept { return is64() ? 8 : 4; }
    std::size_t symbolBytes() const noexcept { return is64() ? sizeof(Elf64_Sym) : sizeof(Elf32_Sym); }

private:
    struct End {
        void operator()(Elf* elf) const noexcept { elf_end(elf); }
    };

    void readHeaders();
    Elf_Data* raw(std::uint64_t offset, std::uint64_t size, Elf_Type type, const char* what) const;
    std::uint64_t load(const unsigned char* bytes, std::size_t size) const noexcept;

    std::string name_;
    std::unique_ptr<Elf, End> elf_;
    Machine machine_;
    std::uint16_t type_ = ET_NONE;
    std::uint64_t fileBytes_ = 0;
    std::vector<GElf_Phdr> segments_;  ///< those of the types that are read
};

}  // namespace bex::shlibs

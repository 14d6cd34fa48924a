#pragma once

#include <elf.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace bex::test {

/// A small ELF file of 64 bits without sections, put together by hand: one segment that covers it all, and what
/// the dynamic linker reads.
struct HandMadeElf {
    std::uint16_t machine = EM_X86_64;
    std::string soname;
    std::vector<std::string> needed;
    std::string runPath;
    std::string rPath;
    std::vector<std::pair<std::string, std::string>> undefined;  ///< name and version, "" for none

    std::string bytes() const {
        std::string names(1, '\0');
        const auto name = [&](const std::string& text) {
            const std::size_t at = names.size();
            names += text + '\0';
            return at;
        };
        std::vector<std::pair<std::int64_t, std::uint64_t>> dynamic;
        for (const auto& library : needed) {
            dynamic.emplace_back(DT_NEEDED, name(library));
        }
        for (const auto& [tag, text] : {std::pair(DT_SONAME, soname), {DT_RUNPATH, runPath}, {DT_RPATH, rPath}}) {
            if (!text.empty()) {
                dynamic.emplace_back(tag, name(text));
            }
        }
        std::string symbols(sizeof(Elf64_Sym), '\0');
        std::string indices(2, '\0');
        std::string versions;
        std::uint16_t index = 1;
        for (const auto& [symbol, version] : undefined) {
            Elf64_Sym entry{};
            entry.st_name = static_cast<Elf64_Word>(name(symbol));
            append(symbols, entry);
            append(indices, static_cast<std::uint16_t>(version.empty() ? 1 : ++index));
            if (!version.empty()) {
                Elf64_Verneed need{1, 1, 0, sizeof(Elf64_Verneed), sizeof(Elf64_Verneed) + sizeof(Elf64_Vernaux)};
                append(versions, need);
                append(versions, Elf64_Vernaux{0, 0, index, static_cast<Elf64_Word>(name(version)), 0});
            }
        }
        std::string hash;
        for (const std::uint32_t word : {1U, static_cast<std::uint32_t>(undefined.size() + 1), 0U}) {
            append(hash, word);
        }
        const auto tables = {std::pair(DT_STRTAB, &names),
                             {DT_SYMTAB, &symbols},
                             {DT_VERSYM, &indices},
                             {DT_VERNEED, &versions},
                             {DT_HASH, &hash}};
        const std::size_t head = sizeof(Elf64_Ehdr) + 2 * sizeof(Elf64_Phdr);
        const std::size_t dynamicBytes = (dynamic.size() + tables.size() + 3) * sizeof(Elf64_Dyn);
        std::string rest;
        for (const auto& [tag, table] : tables) {
            rest.resize((rest.size() + 7) / 8 * 8);
            dynamic.emplace_back(tag, head + dynamicBytes + rest.size());
            rest += *table;
        }
        dynamic.emplace_back(DT_STRSZ, names.size());
        dynamic.emplace_back(DT_VERNEEDNUM, index - 1U);
        dynamic.emplace_back(DT_NULL, 0);
        return header(head + dynamicBytes + rest.size(), dynamicBytes) + entries(dynamic) + rest;
    }

private:
    template <typename Record>
    static void append(std::string& to, const Record& record) {
        to.append(reinterpret_cast<const char*>(&record), sizeof record);
    }

    static std::string entries(const std::vector<std::pair<std::int64_t, std::uint64_t>>& dynamic) {
        std::string text;
        for (const auto& [tag, value] : dynamic) {
            Elf64_Dyn entry{};
            entry.d_tag = tag;
            entry.d_un.d_val = value;
            append(text, entry);
        }
        return text;
    }

    std::string header(std::size_t fileBytes, std::size_t dynamicBytes) const {
        Elf64_Ehdr elf{};
        std::memcpy(elf.e_ident, ELFMAG, SELFMAG);
        elf.e_ident[EI_CLASS] = ELFCLASS64;
        elf.e_ident[EI_DATA] = ELFDATA2LSB;
        elf.e_ident[EI_VERSION] = EV_CURRENT;
        elf.e_type = ET_DYN;
        elf.e_machine = machine;
        elf.e_version = EV_CURRENT;
        elf.e_phoff = sizeof elf;
        elf.e_ehsize = sizeof elf;
        elf.e_phentsize = sizeof(Elf64_Phdr);
        elf.e_phnum = 2;
        Elf64_Phdr load{};
        load.p_type = PT_LOAD;
        load.p_filesz = load.p_memsz = fileBytes;
        Elf64_Phdr dynamic{};
        dynamic.p_type = PT_DYNAMIC;
        dynamic.p_offset = dynamic.p_vaddr = sizeof elf + 2 * sizeof(Elf64_Phdr);
        dynamic.p_filesz = dynamicBytes;
        std::string text;
        append(text, elf);
        append(text, load);
        append(text, dynamic);
        return text;
    }
};

}  // namespace bex::test

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shlibs/base/Architecture.hpp"

namespace bex::shlibs {

/// Names one after the other in one allocation: a program may use a million of them.
class NameList {
public:
    void add(std::string_view name, std::string_view version) {
        bytes_.append(name).append("@").append(version).push_back('\0');
    }

    /// Calls `visit` with each name in order.
    template <typename Visit>
    void forEach(Visit&& visit) const {
        for (std::size_t at = 0; at < bytes_.size();) {
            const std::string_view name(bytes_.data() + at);
            visit(name);
            at += name.size() + 1;
        }
    }

private:
    std::string bytes_;  ///< each ends with NUL, so no name holds one
};

/// What the dynamic linker would read of an ELF file: elf(5).
struct ElfFile {
    Machine machine;
    std::string soname;               ///< empty where there is none
    std::vector<std::string> needed;  ///< in order, each once
    /// The directories of DT_RUNPATH, or of DT_RPATH where there is none, as they stand.
    std::vector<std::string> searchPath;
    /// What the libraries must have, as "name@version"; the version of symbols without one is "Base".
    NameList undefined;
};

/// Whether the bytes begin as an ELF file does.
bool isElf(std::string_view bytes) noexcept;

/// The machine in an ELF header; nothing where the bytes are none. 64 bytes are enough.
std::optional<Machine> machineOf(std::string_view header) noexcept;
constexpr std::size_t kElfHeaderBytes = 64;

/// Reads an ELF file by its dynamic segment, as the dynamic linker does; sections are only asked how many symbols
/// there are. A file without that segment (static, object file, separate debug symbols) needs nothing. `name`
/// stands for it in messages. Throws stream::StreamError (`damaged`; `limitExceeded` beyond 4 million symbols or
/// 256 MiB of names).
ElfFile readElf(int descriptor, const std::string& name);
/// The same of a file in memory, whose bytes must outlive the call alone.
ElfFile readElf(std::string_view image, const std::string& name);

}  // namespace bex::shlibs

#include "shlibs/elf/ElfFile.hpp"

#include <elf.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>
#include <unordered_set>

#include "shlibs/base/Failure.hpp"
#include "shlibs/elf/ElfImage.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

namespace {

/// Thirty times the symbols of the largest library in Debian.
constexpr std::uint64_t kMaximumSymbols = 4'000'000;
// Each table is read whole, so its size is bounded before libelf is asked for it.
constexpr std::uint64_t kMaximumNameBytes = std::uint64_t{256} << 20;
constexpr std::uint64_t kMaximumVersionBytes = std::uint64_t{16} << 20;
constexpr std::uint64_t kMaximumRelocationBytes = std::uint64_t{512} << 20;
// deb-symbols(5): a symbol without a version is listed as name@Base.
constexpr const char* kUnversioned = "Base";
constexpr unsigned kVersionMask = 0x7fff;  ///< without the bit for hidden symbols
constexpr unsigned kFirstVersion = 2;      ///< 0 is local, 1 is unversioned

/// The type of the relocation that copies a variable out of a library into the program; 0 where it is not known.
std::uint32_t copyRelocationOf(std::uint16_t machine) noexcept {
    switch (machine) {
        case EM_X86_64:
            return R_X86_64_COPY;
        case EM_386:
            return R_386_COPY;
        case EM_AARCH64:
            return R_AARCH64_COPY;
        case EM_ARM:
            return R_ARM_COPY;
        case EM_PPC64:
            return R_PPC64_COPY;
        case EM_PPC:
            return R_PPC_COPY;
        case EM_RISCV:
            return R_RISCV_COPY;
        case EM_S390:
            return R_390_COPY;
        case EM_MIPS:
            return R_MIPS_COPY;
        case EM_SPARCV9:
            return R_SPARC_COPY;
        case EM_ALPHA:
            return R_ALPHA_COPY;
        case EM_68K:
            return R_68K_COPY;
        case EM_PARISC:
            return R_PARISC_COPY;
        case EM_SH:
            return R_SH_COPY;
        default:
            return 0;
    }
}

/// Reads one file. Every number in it may lie.
class Reader {
public:
    explicit Reader(const ElfImage& image) : image_(image), dynamic_(image.dynamic()) {}

    ElfFile read() {
        ElfFile file;
        file.machine = image_.machine();
        // A static program, an object file, or separate debug symbols: the dynamic linker has nothing to do.
        if (dynamic_.empty()) {
            return file;
        }
        // First: every other table refers to names by their offset in this one.
        readNames();
        readDynamic(file);
        if (const std::optional<std::uint64_t> table = value(DT_SYMTAB)) {
            readSymbols(*table, file.undefined);
        }
        return file;
    }

private:
    /// The value of the first entry with that tag; nothing where there is none. An address or a number, as the tag
    /// says.
    std::optional<std::uint64_t> value(std::int64_t tag) const {
        const auto found = std::find_if(dynamic_.begin(), dynamic_.end(),
                                        [tag](const GElf_Dyn& one) { return one.d_tag == tag; });
        if (found == dynamic_.end()) {
            return std::nullopt;
        }
        return found->d_un.d_val;
    }

    void readNames() {
        const std::optional<std::uint64_t> table = value(DT_STRTAB);
        const std::uint64_t size = value(DT_STRSZ).value_or(0);
        if (size > kMaximumNameBytes) {
            throw failure(ErrorKind::limitExceeded, image_.name(),
                          "has more than " + std::to_string(kMaximumNameBytes) + " bytes of names");
        }
        if (table && size > 0) {
            names_ = image_.allAt(*table, size, "the table of names");
        }
    }

    /// The name lies in the file's bytes, which live as long as the image. It must end within the table: without
    /// that check a last name without NUL would be read beyond it.
    std::string_view nameAt(std::uint64_t offset) const {
        const void* end = nullptr;
        if (offset < names_.size) {
            end = std::memchr(names_.data + offset, '\0', names_.size - offset);
        }
        if (end == nullptr) {
            throw damaged(image_.name(), "a name lies outside the table of names");
        }
        const char* begin = reinterpret_cast<const char*>(names_.data) + offset;
        return {begin, static_cast<std::size_t>(static_cast<const char*>(end) - begin)};
    }

    void readDynamic(ElfFile& file) const {
        for (const GElf_Dyn& entry : dynamic_) {
            if (entry.d_tag == DT_NEEDED) {
                std::string library(nameAt(entry.d_un.d_val));
                // The order is kept, since the first library that has a symbol provides it.
                if (std::find(file.needed.begin(), file.needed.end(), library) == file.needed.end()) {
                    file.needed.push_back(std::move(library));
                }
            } else if (entry.d_tag == DT_SONAME) {
                file.soname = nameAt(entry.d_un.d_val);
            }
        }
        // ld.so(8): DT_RPATH is ignored where there is a DT_RUNPATH.
        std::optional<std::uint64_t> path = value(DT_RUNPATH);
        if (!path) {
            path = value(DT_RPATH);
        }
        if (path) {
            stream::forEachPart(nameAt(*path), ':',
                                [&](std::string_view directory) { file.searchPath.emplace_back(directory); });
        }
    }

    /// The GNU hash table covers defined symbols; it begins with the number of those before them, which is also
    /// there where it covers none. Its chains end with an odd hash.
    std::uint64_t countByGnuHash(std::uint64_t address) const {
        const Chunk head = image_.allAt(address, 16, "the hash table");
        const std::uint64_t buckets = image_.word(head.data);
        const std::uint64_t first = image_.word(head.data + 4);
        // Four words lead: buckets, first hashed symbol, words of the Bloom filter, and its shift. All are 32
        // bits, so that products in 64 bits do not wrap; allAt() refuses sums that lead out of the file.
        const std::uint64_t filter = std::uint64_t{image_.word(head.data + 8)} * image_.addressBytes();
        const std::uint64_t bucketsAt = address + 16 + filter;
        const Chunk table = image_.allAt(bucketsAt, buckets * 4, "the hash table");
        // Symbols of one bucket follow each other, so the last symbol of all is in the bucket with the highest
        // start.
        std::uint64_t last = 0;
        for (std::uint64_t i = 0; i < buckets; ++i) {
            last = std::max<std::uint64_t>(last, image_.word(table.data + i * 4));
        }
        // Empty buckets hold 0: no symbol is hashed, and there are only those before the first hashed one.
        if (last < first) {
            return first;
        }
        const Chunk chain =
            image_.at(bucketsAt + buckets * 4 + (last - first) * 4, kMaximumSymbols * 4, "a hash chain");
        for (std::uint64_t i = 0; i + 4 <= chain.size; i += 4) {
            ++last;
            if ((image_.word(chain.data + i) & 1U) != 0) {
                break;
            }
        }
        return last;
    }

    /// Calls `visit` with symbol and type of each relocation in a table.
    template <typename Visit>
    void forEachRelocation(std::int64_t tableTag, std::int64_t sizeTag, std::size_t entryBytes,
                           Visit& visit) const {
        const std::optional<std::uint64_t> table = value(tableTag);
        const std::uint64_t size = value(sizeTag).value_or(0);
        if (!table || size < entryBytes) {
            return;
        }
        if (size > kMaximumRelocationBytes) {
            throw failure(ErrorKind::limitExceeded, image_.name(),
                          "has more than " + std::to_string(kMaximumRelocationBytes) + " bytes of relocations");
        }
        const Chunk chunk = image_.allAt(*table, size, "a table of relocations");
        for (std::size_t at = 0; at + entryBytes <= chunk.size; at += entryBytes) {
            // Both kinds of entry begin with the address to change, then r_info: symbol and type are its halves in
            // 64 bits, its upper 24 and lower 8 bits in 32.
            const unsigned char* info = chunk.data + at + image_.addressBytes();
            if (image_.is64()) {
                visit(image_.doubleWord(info) >> 32U, image_.doubleWord(info) & 0xffffffffU);
            } else {
                visit(image_.word(info) >> 8U, image_.word(info) & 0xffU);
            }
        }
    }

    template <typename Visit>
    void forEachRelocation(Visit visit) const {
        const std::size_t relBytes = 2 * image_.addressBytes();
        const std::size_t relaBytes = 3 * image_.addressBytes();
        // A third table has the jumps to functions; DT_PLTREL tells which of the two forms it uses.
        const bool jumpsAreRel = value(DT_PLTREL).value_or(DT_RELA) == DT_REL;
        forEachRelocation(DT_RELA, DT_RELASZ, relaBytes, visit);
        forEachRelocation(DT_REL, DT_RELSZ, relBytes, visit);
        forEachRelocation(DT_JMPREL, DT_PLTRELSZ, jumpsAreRel ? relBytes : relaBytes, visit);
    }

    /// A symbol that is neither hashed nor relocated is of no use to the file, and may stay uncounted.
    std::uint64_t countByRelocations() const {
        std::uint64_t count = 0;
        forEachRelocation([&](std::uint64_t symbol, std::uint64_t) { count = std::max(count, symbol + 1); });
        return count;
    }

    /// The symbols of a program that are variables of a library: the program has the room for them, the library
    /// the name. A library has none.
    std::unordered_set<std::uint64_t> copiedSymbols() const {
        std::unordered_set<std::uint64_t> copied;
        const std::uint32_t copy = copyRelocationOf(image_.machine().number);
        if (copy != 0 && !value(DT_SONAME)) {
            forEachRelocation([&](std::uint64_t symbol, std::uint64_t type) {
                if (type == copy) {
                    copied.insert(symbol);
                }
            });
        }
        return copied;
    }

    /// The dynamic segment does not say how many symbols there are. A file may have no sections; then hash tables
    /// and relocations tell of each symbol that matters.
    std::uint64_t countSymbols(std::uint64_t table) const {
        if (const std::optional<std::uint64_t> count = image_.symbolsInSection(table)) {
            return *count;
        }
        if (const std::optional<std::uint64_t> hash = value(DT_HASH)) {
            // The second word, the number of chains, is that of symbols: System V ABI, "Hash Table".
            return image_.word(image_.allAt(*hash, 8, "the hash table").data + 4);
        }
        std::uint64_t count = countByRelocations();
        if (const std::optional<std::uint64_t> hash = value(DT_GNU_HASH)) {
            count = std::max(count, countByGnuHash(*hash));
        }
        return count;
    }

    void readSymbols(std::uint64_t table, NameList& undefined) {
        const std::uint64_t count = countSymbols(table);
        // Before the count sizes anything: what passes is small enough that products with it do not wrap.
        if (count > kMaximumSymbols) {
            throw failure(ErrorKind::limitExceeded, image_.name(),
                          "has more than " + std::to_string(kMaximumSymbols) + " symbols");
        }
        readVersions();
        const std::optional<std::uint64_t> indexTable = value(DT_VERSYM);
        Chunk indices;
        if (indexTable && count > 0) {
            indices = image_.allAt(*indexTable, count * 2, "the table of symbol versions");
        }
        // The table of indices was read for as many symbols as are read here: versionOf() relies on it.
        const std::vector<GElf_Sym> symbols = image_.symbols(table, count);
        const std::unordered_set<std::uint64_t> copied = copiedSymbols();
        // Symbol 0 is reserved and always undefined.
        for (std::size_t i = 1; i < symbols.size(); ++i) {
            const bool isOurs = symbols[i].st_shndx != SHN_UNDEF && copied.count(i) == 0;
            if (isOurs || symbols[i].st_name == 0) {
                continue;
            }
            undefined.add(nameAt(symbols[i].st_name), versionOf(i, indices));
        }
    }

    /// Of the symbol of that number, by the table of indices, which may be empty.
    std::string_view versionOf(std::size_t symbol, const Chunk& indices) const {
        if (indices.size == 0) {
            return kUnversioned;
        }
        const unsigned index = image_.half(indices.data + symbol * 2) & kVersionMask;
        // Indices that readVersions() does not know belong to versions that the file itself defines.
        const auto version = versions_.find(index);
        if (index < kFirstVersion || version == versions_.end()) {
            return kUnversioned;
        }
        return version->second;
    }

    /// Each needed library has a list of versions: both kinds of record hold the distance to the next of its kind,
    /// 0 at the end. Distances only lead forward, so the walk ends.
    void readVersions() {
        const std::optional<std::uint64_t> table = value(DT_VERNEED);
        if (!table) {
            return;
        }
        constexpr std::size_t recordBytes = 16;
        const Chunk chunk = image_.at(*table, kMaximumVersionBytes, "the table of needed versions");
        // `at` grows by less than 2^32 a step, and each step has checked the one before it: the sum does not wrap.
        const auto inside = [&](std::uint64_t at) {
            if (at + recordBytes > chunk.size) {
                throw damaged(image_.name(), "the table of needed versions is cut short");
            }
            return chunk.data + at;
        };
        std::uint64_t libraries = value(DT_VERNEEDNUM).value_or(0);
        std::uint64_t steps = 0;
        for (std::uint64_t at = 0; libraries > 0; --libraries) {
            // Elf_Verneed: halves for revision and number of versions, then words for the library's name, the
            // distance to the first version and that to the next library. It is the same in 32 and 64 bits.
            const unsigned char* library = inside(at);
            std::uint64_t versionAt = at + image_.word(library + 8);
            for (unsigned left = image_.half(library + 2); left > 0; --left) {
                // Elf_Vernaux: a word for the hash, halves for flags and index, words for the name and the
                // distance to the next.
                const unsigned char* version = inside(versionAt);
                versions_[image_.half(version + 6) & kVersionMask] = nameAt(image_.word(version + 8));
                if (++steps > kMaximumSymbols) {  // Lists may overlap.
                    throw failure(ErrorKind::limitExceeded, image_.name(), "has too many needed versions");
                }
                const std::uint32_t next = image_.word(version + 12);
                if (next == 0) {
                    break;
                }
                versionAt += next;
            }
            const std::uint32_t next = image_.word(library + 12);
            if (next == 0) {
                break;
            }
            at += next;
        }
    }

    // Names and versions point into the bytes that the image holds: it outlives the reader.
    const ElfImage& image_;
    std::vector<GElf_Dyn> dynamic_;
    Chunk names_;
    std::unordered_map<unsigned, std::string_view> versions_;
};

}  // namespace

bool isElf(std::string_view bytes) noexcept {
    return bytes.substr(0, SELFMAG) == ELFMAG;
}

std::optional<Machine> machineOf(std::string_view header) noexcept {
    constexpr std::size_t flagsAt32 = 36;
    constexpr std::size_t flagsAt64 = 48;
    constexpr std::size_t machineAt = 18;
    // Enough bytes for the later of the two places of e_flags, so that each read below is in range.
    if (!isElf(header) || header.size() < flagsAt64 + 4) {
        return std::nullopt;
    }
    Machine machine;
    machine.elfClass = static_cast<std::uint8_t>(header[EI_CLASS]);
    machine.byteOrder = static_cast<std::uint8_t>(header[EI_DATA]);
    const auto load = [&](std::size_t at, std::size_t size) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            const bool bigEndian = machine.byteOrder == ELFDATA2MSB;
            const std::size_t place = bigEndian ? at + i : at + size - 1 - i;
            value = value << 8U | static_cast<unsigned char>(header[place]);
        }
        return value;
    };
    machine.number = static_cast<std::uint16_t>(load(machineAt, 2));
    machine.abi = abiFlags(machine.number, load(machine.elfClass == ELFCLASS64 ? flagsAt64 : flagsAt32, 4));
    return machine;
}

ElfFile readElf(int descriptor, const std::string& name) {
    const ElfImage file(descriptor, name);
    return Reader(file).read();
}

ElfFile readElf(std::string_view image, const std::string& name) {
    const ElfImage file(image, name);
    return Reader(file).read();
}

}  // namespace bex::shlibs

#include "shlibs/elf/ElfImage.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "shlibs/base/Failure.hpp"
#include "shlibs/elf/ElfFile.hpp"
#include "stream/base/Hex.hpp"

namespace bex::shlibs {

namespace {

/// The number of program headers is the file's word; the largest programs have some twenty.
constexpr std::size_t kMaximumSegments = 4096;

/// What libelf says of this thread's last failure.
std::string libelfReason() {
    const char* text = elf_errmsg(-1);
    if (text == nullptr) {
        return "unknown error";
    }
    return text;
}

bool startLibelf() {
    // Before any other call of libelf; a static, so that threads do not start it twice.
    static const bool usable = elf_version(EV_CURRENT) != EV_NONE;
    return usable;
}

}  // namespace

ElfImage::ElfImage(int descriptor, std::string name) : name_(std::move(name)) {
    struct stat status {};
    if (!startLibelf() || fstat(descriptor, &status) != 0) {
        throw systemFailure(name_, errno);
    }
    fileBytes_ = static_cast<std::uint64_t>(status.st_size);
    // Not mapped: a file that becomes shorter in the meantime must be an error and not a signal.
    elf_.reset(elf_begin(descriptor, ELF_C_READ, nullptr));
    readHeaders();
}

ElfImage::ElfImage(std::string_view image, std::string name) : name_(std::move(name)), fileBytes_(image.size()) {
    if (startLibelf()) {
        // libelf only reads images that it was given for reading.
        elf_.reset(elf_memory(const_cast<char*>(image.data()), image.size()));
    }
    readHeaders();
}

void ElfImage::readHeaders() {
    GElf_Ehdr header;
    if (elf_ == nullptr || elf_kind(elf_.get()) != ELF_K_ELF || gelf_getehdr(elf_.get(), &header) == nullptr) {
        throw damaged(name_, "is not a whole ELF file: " + libelfReason());
    }
    // libelf has the numbers in the machine's own order already; bytes of raw chunks stay in the file's.
    machine_ = {header.e_ident[EI_CLASS], header.e_ident[EI_DATA], header.e_machine,
                abiFlags(header.e_machine, header.e_flags)};
    type_ = header.e_type;
    std::size_t count = 0;
    if (elf_getphdrnum(elf_.get(), &count) != 0) {
        throw damaged(name_, "its program headers cannot be read: " + libelfReason());
    }
    // Of headers that lie outside the file libelf counts only those within.
    if (header.e_phnum != PN_XNUM && count != header.e_phnum) {
        throw damaged(name_, "its program headers lie outside the file");
    }
    if (count > kMaximumSegments) {
        throw failure(ErrorKind::limitExceeded, name_,
                      "has more than " + std::to_string(kMaximumSegments) + " program headers");
    }
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Phdr segment;
        if (gelf_getphdr(elf_.get(), static_cast<int>(i), &segment) == nullptr) {
            throw damaged(name_, "its program headers lie outside the file");
        }
        // The only headers that are asked for; others, such as a thread's storage, are not looked at again.
        if (segment.p_type == PT_LOAD || segment.p_type == PT_DYNAMIC || segment.p_type == PT_INTERP ||
            segment.p_type == PT_NOTE) {
            segments_.push_back(segment);
        }
    }
}

Elf_Data* ElfImage::raw(std::uint64_t offset, std::uint64_t size, Elf_Type type, const char* what) const {
    // Compared as a difference: offset and size are the file's word, and their sum may wrap.
    if (offset > fileBytes_ || size > fileBytes_ - offset) {
        throw damaged(name_, std::string(what) + " lies outside the file");
    }
    Elf_Data* data = elf_getdata_rawchunk(elf_.get(), static_cast<std::int64_t>(offset), size, type);
    if (data == nullptr) {
        throw damaged(name_, std::string(what) + " cannot be read: " + libelfReason());
    }
    return data;
}

bool ElfImage::hasInterpreter() const noexcept {
    return std::any_of(segments_.begin(), segments_.end(),
                       [](const GElf_Phdr& one) { return one.p_type == PT_INTERP; });
}

std::string ElfImage::buildId() const {
    static constexpr char kOwner[] = "GNU";  // its NUL is part of the name
    constexpr std::string_view owner(kOwner, sizeof kOwner);
    for (const GElf_Phdr& segment : segments_) {
        if (segment.p_type != PT_NOTE || segment.p_filesz == 0) {
            continue;
        }
        // Notes are aligned to 4 bytes, but to 8 in a segment that says so: the type tells libelf which.
        Elf_Data* data = raw(segment.p_offset, segment.p_filesz, segment.p_align == 8 ? ELF_T_NHDR8 : ELF_T_NHDR,
                             "a segment of notes");
        const char* bytes = static_cast<const char*>(data->d_buf);
        GElf_Nhdr note;
        std::size_t name = 0;
        std::size_t contents = 0;
        // gelf_getnote() checks name and contents against the data, and returns 0 at the end or for a damaged
        // note.
        for (std::size_t at = 0; (at = gelf_getnote(data, at, &note, &name, &contents)) > 0;) {
            if (note.n_type != NT_GNU_BUILD_ID || std::string_view(bytes + name, note.n_namesz) != owner) {
                continue;
            }
            return stream::hexOf(bytes + contents, note.n_descsz);
        }
    }
    return {};
}

bool ElfImage::hasSymbols() const {
    std::size_t names = 0;
    // A file may have no sections at all; nothing that runs needs them.
    if (elf_getshdrstrndx(elf_.get(), &names) != 0) {
        return false;
    }
    Elf_Scn* section = nullptr;
    while ((section = elf_nextscn(elf_.get(), section)) != nullptr) {
        GElf_Shdr header;
        if (gelf_getshdr(section, &header) == nullptr) {
            continue;
        }
        // A section's name comes from the file: an offset outside the table gives none.
        const char* name = elf_strptr(elf_.get(), names, header.sh_name);
        if (header.sh_type == SHT_SYMTAB ||
            (name != nullptr && std::string_view(name).substr(0, 7) == ".debug_")) {
            return true;
        }
    }
    return false;
}

std::vector<GElf_Dyn> ElfImage::dynamic() const {
    std::vector<GElf_Dyn> entries;
    const auto segment = std::find_if(segments_.begin(), segments_.end(),
                                      [](const GElf_Phdr& one) { return one.p_type == PT_DYNAMIC; });
    // Separate debug symbols keep the header of the segment without its bytes.
    if (segment == segments_.end() || segment->p_filesz == 0) {
        return entries;
    }
    Elf_Data* data = raw(segment->p_offset, segment->p_filesz, ELF_T_DYN, "the dynamic segment");
    GElf_Dyn entry;
    // A segment without DT_NULL ends where libelf has no further entry. The file's size bounds the number of them.
    for (int i = 0; gelf_getdyn(data, i, &entry) != nullptr && entry.d_tag != DT_NULL; ++i) {
        entries.push_back(entry);
    }
    return entries;
}

Chunk ElfImage::at(std::uint64_t address, std::uint64_t size, const char* what) const {
    for (const GElf_Phdr& segment : segments_) {
        // Compared as a difference: address plus size may wrap. Bytes beyond p_filesz are zeros that the loader
        // makes, and no table lies there.
        if (segment.p_type != PT_LOAD || address < segment.p_vaddr ||
            address - segment.p_vaddr >= segment.p_filesz) {
            continue;
        }
        const std::uint64_t inSegment = address - segment.p_vaddr;
        const std::uint64_t offset = segment.p_offset + inSegment;
        // The sum wraps for a segment that claims to begin near the end of all offsets.
        if (offset < inSegment || offset > fileBytes_) {
            break;
        }
        // The segment may promise more bytes than the file has: callers get those that are there.
        const std::uint64_t wanted = std::min({size, segment.p_filesz - inSegment, fileBytes_ - offset});
        // Nothing to ask libelf for: the bytes lie after the end of the file, or the caller wants none.
        if (wanted == 0) {
            return {};
        }
        const Elf_Data* data = raw(offset, wanted, ELF_T_BYTE, what);
        return {static_cast<const unsigned char*>(data->d_buf), data->d_size};
    }
    throw damaged(name_, std::string(what) + " lies outside the file");
}

Chunk ElfImage::allAt(std::uint64_t address, std::uint64_t size, const char* what) const {
    const Chunk chunk = at(address, size, what);
    if (chunk.size < size) {
        throw damaged(name_, std::string(what) + " is cut short");
    }
    return chunk;
}

std::vector<GElf_Sym> ElfImage::symbols(std::uint64_t address, std::size_t count) const {
    const std::size_t each = symbolBytes();
    const Chunk chunk = allAt(address, std::uint64_t{count} * each, "the table of symbols");
    // allAt() has compared the count with the file, so that this memory stays in proportion to the file.
    // st_name is the first word of both classes; st_info and st_shndx come after address and size in 32 bits.
    const std::size_t infoAt = is64() ? 4 : 12;
    if (chunk.data == nullptr) {
        return {};
    }
    std::vector<GElf_Sym> symbols(chunk.size / each);
    for (std::size_t i = 0; i < symbols.size(); ++i) {
        const unsigned char* bytes = chunk.data + i * each;
        symbols[i].st_name = word(bytes);
        symbols[i].st_info = bytes[infoAt];
        symbols[i].st_shndx = half(bytes + infoAt + 2);
    }
    return symbols;
}

/// The section's size is the file's word and may be wrong: callers bound the number and compare it with the file.
std::optional<std::uint64_t> ElfImage::symbolsInSection(std::uint64_t address) const {
    Elf_Scn* section = nullptr;
    while ((section = elf_nextscn(elf_.get(), section)) != nullptr) {
        GElf_Shdr header;
        if (gelf_getshdr(section, &header) != nullptr && header.sh_type == SHT_DYNSYM &&
            header.sh_addr == address) {
            return header.sh_size / symbolBytes();
        }
    }
    return std::nullopt;
}

/// `size` is at most 8, and the caller has checked that so many bytes are there. They need no alignment.
std::uint64_t ElfImage::load(const unsigned char* bytes, std::size_t size) const noexcept {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        const std::size_t at = machine_.byteOrder == ELFDATA2MSB ? i : size - 1 - i;
        value = value << 8U | bytes[at];
    }
    return value;
}

std::uint16_t ElfImage::half(const unsigned char* bytes) const noexcept {
    return static_cast<std::uint16_t>(load(bytes, 2));
}

std::uint32_t ElfImage::word(const unsigned char* bytes) const noexcept {
    return static_cast<std::uint32_t>(load(bytes, 4));
}

std::uint64_t ElfImage::doubleWord(const unsigned char* bytes) const noexcept {
    return load(bytes, 8);
}

}  // namespace bex::shlibs

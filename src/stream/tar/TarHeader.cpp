#include "stream/tar/TarHeader.hpp"

#include <algorithm>
#include <cstring>

#include "stream/base/Text.hpp"
#include "stream/tar/TarNumber.hpp"

namespace bex::stream {

namespace {

constexpr std::string_view kPosixMagic(
    "ustar\0"
    "00",
    8);
constexpr std::string_view kGnuMagic("ustar  \0", 8);

/// A field's place in the block (tar(5), POSIX ustar).
struct Field {
    const char* name;
    std::size_t offset;
    std::size_t size;

    std::string_view in(std::string_view block) const { return block.substr(offset, size); }
};

constexpr Field kName{"name", 0, 100};
constexpr Field kMode{"mode", 100, 8};
constexpr Field kUid{"owner", 108, 8};
constexpr Field kGid{"group", 116, 8};
constexpr Field kSize{"size", 124, 12};
constexpr Field kTime{"time", 136, 12};
constexpr Field kChecksum{"checksum", 148, 8};
constexpr std::size_t kType = 156;
constexpr Field kLink{"link target", 157, 100};
constexpr Field kMagic{"magic", 257, 8};
constexpr Field kOwnerName{"owner name", 265, 32};
constexpr Field kGroupName{"group name", 297, 32};
constexpr Field kDeviceMajor{"device number", 329, 8};
constexpr Field kDeviceMinor{"device number", 337, 8};
constexpr Field kPrefix{"prefix", 345, 155};
constexpr Field kSparse{"sparse map", 386, 126};

/// As many octal digits as the field has room for: readers differ in how they treat a larger mode.
constexpr std::uint64_t kLargestMode = 077777777;

[[noreturn]] void failField(const Field& field, std::string_view bytes, const Place& place) {
    place.fail(ErrorKind::damaged, "tar-header",
               std::string("header with a malformed ") + field.name + ": " + quotedName(bytes));
}

std::int64_t numberIn(const Field& field, std::string_view block, const Place& place) {
    const std::optional<std::int64_t> number = parseTarNumber(field.in(block));
    if (!number) {
        failField(field, field.in(block), place);
    }
    return *number;
}

/// A negative number wraps to one above 2^63, which callers refuse.
std::uint64_t unsignedIn(const Field& field, std::string_view block, const Place& place) {
    return static_cast<std::uint64_t>(numberIn(field, block, place));
}

std::uint64_t boundedIn(const Field& field, std::string_view block, std::uint64_t largest, const Place& place) {
    const std::uint64_t number = unsignedIn(field, block, place);
    if (number > largest) {  // guard: sizes beyond 2^63
        failField(field, field.in(block), place);
    }
    return number;
}

std::string_view beforeNul(std::string_view bytes) {
    return bytes.substr(0, std::min(bytes.find('\0'), bytes.size()));
}

/// The bytes before the first NUL. Only NULs may follow: some readers stop at the first one, others do not.
std::string textIn(const Field& field, std::string_view block, const Place& place) {
    const std::string_view bytes = field.in(block);
    const std::string_view text = beforeNul(bytes);
    if (!isZeroBlock(bytes.substr(text.size()))) {  // guard: bytes after a name's NUL
        failField(field, bytes, place);
    }
    return std::string(text);
}

/// The sum of the block's bytes, those of the checksum itself counted as blanks.
unsigned checksumOf(std::string_view block) {
    unsigned sum = kChecksum.size * ' ';
    for (std::size_t i = 0; i < kTarBlockBytes; ++i) {
        sum += static_cast<unsigned char>(block[i]);
    }
    for (const char c : kChecksum.in(block)) {
        sum -= static_cast<unsigned char>(c);
    }
    return sum;
}

/// Refuses what is in the place of the sparse map: some readers follow the map whatever the entry's type is.
void checkNoSparseMap(std::string_view block, const Place& place) {
    if (block[kType] != 'S' && !isZeroBlock(kSparse.in(block))) {
        failField(kSparse, kSparse.in(block), place);
    }
}

/// Device numbers are not used, but libarchive recognizes no archive in a file with a malformed one.
void checkDeviceNumber(const Field& field, std::string_view block, const Place& place) {
    if (!parseOctal(field.in(block))) {
        failField(field, field.in(block), place);
    }
}

using Block = std::array<char, kTarBlockBytes>;

void put(const Field& field, std::string_view text, Block& block) {
    text.copy(block.data() + field.offset, field.size);
}

void put(const Field& field, std::int64_t number, Block& block) {
    formatTarNumber(number, block.data() + field.offset, field.size);
}

}  // namespace

bool isZeroBlock(std::string_view block) noexcept {
    // Bytes that equal themselves shifted by one are all the same.
    return block.empty() ||
           (block.front() == '\0' && std::memcmp(block.data(), block.data() + 1, block.size() - 1) == 0);
}

TarHeader parseTarHeader(std::string_view block, const Place& place) {
    if (parseOctal(kChecksum.in(block)) != checksumOf(block)) {  // guard: the checksum of tar
        place.fail(ErrorKind::damaged, "tar-checksum", "header with a wrong checksum");
    }
    const std::string_view magic = kMagic.in(block);
    const bool isV7 = isZeroBlock(magic);
    if (magic != kPosixMagic && magic != kGnuMagic && !isV7) {
        failField(kMagic, magic, place);
    }
    checkDeviceNumber(kDeviceMajor, block, place);
    checkDeviceNumber(kDeviceMinor, block, place);
    TarHeader header;
    header.uid = unsignedIn(kUid, block, place);
    header.gid = unsignedIn(kGid, block, place);
    header.mtime = numberIn(kTime, block, place);
    header.type = block[kType];
    header.mode = static_cast<std::uint32_t>(boundedIn(kMode, block, kLargestMode, place) & 07777U);
    header.size = boundedIn(kSize, block, kLargestTarSize, place);
    header.path = textIn(kName, block, place);
    header.link = textIn(kLink, block, place);
    if (header.path.empty()) {
        failField(kName, {}, place);  // some readers take it for the end of the archive
    }
    if (magic == kPosixMagic && block[kPrefix.offset] != '\0') {
        header.path = joinedPath(textIn(kPrefix, block, place), header.path);
    }
    if (magic == kGnuMagic) {
        checkNoSparseMap(block, place);
    }
    if (!isV7) {
        header.owner = beforeNul(kOwnerName.in(block));
        header.group = beforeNul(kGroupName.in(block));
    }
    return header;
}

std::array<char, kTarBlockBytes> formatTarHeader(const TarHeader& header) {
    Block block{};
    put(kName, header.path, block);
    put(kMode, header.mode, block);
    put(kUid, static_cast<std::int64_t>(header.uid), block);
    put(kGid, static_cast<std::int64_t>(header.gid), block);
    put(kSize, static_cast<std::int64_t>(header.size), block);
    put(kTime, header.mtime, block);
    block[kType] = header.type;
    put(kLink, header.link, block);
    put(kMagic, kGnuMagic, block);
    put(kOwnerName, header.owner, block);  // Meant: cut without an error, for the number beside it decides.
    put(kGroupName, header.group, block);
    const unsigned sum = checksumOf({block.data(), block.size()});
    formatTarNumber(sum, block.data() + kChecksum.offset, kChecksum.size - 1);
    block[kChecksum.offset + kChecksum.size - 1] = ' ';
    return block;
}

}  // namespace bex::stream

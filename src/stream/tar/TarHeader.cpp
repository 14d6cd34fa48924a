#include "stream/tar/TarHeader.hpp"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <optional>
#include "stream/base/Place.hpp"

namespace bex::stream {
namespace {

constexpr std::string_view kPosixMagic(
    "ustar\0"
    "00",
    8);
constexpr std::string_view kGnuMagic("ustar  \0", 8);

struct Field {
    const char* name;
    std::size_t offset;
    std::size_t size;

    std::string_view in(std::string_view block) const { return block.substr(offset, size); }
};

constexpr Field kName{"name", 0, 100};
constexpr Field kMode{"mode", 100, 8};
constexpr Field kSize{"size", 124, 12};
constexpr Field kChecksum{"checksum", 148, 8};
constexpr std::size_t kType = 156;
constexpr Field kLink{"link target", 157, 100};
constexpr Field kMagic{"magic", 257, 8};
constexpr Field kPrefix{"prefix", 345, 155};
constexpr Field kSparse{"sparse map", 386, 126};
constexpr std::size_t kSparseContinues = 482;
constexpr std::size_t kSparseBlockContinues = 504;

/// Those that do not matter here, but that every reader has to understand alike.
constexpr Field kNumbers[] = {{"owner", 108, 8}, {"group", 116, 8}, {"time", 136, 12}};

/// Octal digits between optional blanks, or nothing but NULs for 0.
std::optional<std::uint64_t> parseOctal(std::string_view field) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '7'; };
    const auto begin = std::find_if(field.begin(), field.end(), [](char c) { return c != ' '; });
    const auto end = std::find_if_not(begin, field.end(), isDigit);
    if (!std::all_of(end, field.end(), [](char c) { return c == ' ' || c == '\0'; })) {
        return std::nullopt;
    }
    if (begin == end && (begin != field.begin() || std::find(end, field.end(), ' ') != field.end())) {
        return std::nullopt;
    }
    return std::accumulate(begin, end, std::uint64_t{0}, [](std::uint64_t number, char digit) {
        return number * 8 + static_cast<std::uint64_t>(digit - '0');
    });
}

/// GNU's base 256: the first bit set, the rest a signed big-endian number of at most 63 bits and a sign.
std::optional<std::int64_t> parseBase256(std::string_view field) {
    const bool negative = (static_cast<unsigned char>(field.front()) & 0x40U) != 0;
    std::uint64_t number = negative ? std::numeric_limits<std::uint64_t>::max() : 0;
    bool fits = true;
    for (std::size_t i = 0; i < field.size(); ++i) {
        unsigned byte = static_cast<unsigned char>(field[i]);
        if (i == 0) {
            byte = negative ? byte | 0x80U : byte & 0x7fU;
        }
        const std::uint64_t lost = number >> 55;
        fits = fits && lost == (negative ? 0x1ffU : 0U);
        number = number << 8 | byte;
    }
    const auto value = static_cast<std::int64_t>(number);
    return fits && (value < 0) == negative ? std::optional(value) : std::nullopt;
}

bool isBase256(std::string_view field) {
    return (static_cast<unsigned char>(field.front()) & 0x80U) != 0;
}

[[noreturn]] void failField(const Field& field, std::string_view bytes, const Place& place) {
    place.fail(ErrorKind::damaged, "tar-header",
               std::string("header with a malformed ") + field.name + ": " + quotedName(std::string(bytes)));
}

/// Below zero is beyond 2^63.
std::uint64_t numberIn(const Field& field, std::string_view block, const Place& place) {
    const std::string_view bytes = field.in(block);
    if (!isBase256(bytes)) {
        const std::optional<std::uint64_t> number = parseOctal(bytes);
        return number ? *number : (failField(field, bytes, place), 0);
    }
    const std::optional<std::int64_t> number = parseBase256(bytes);
    return number ? static_cast<std::uint64_t>(*number) : (failField(field, bytes, place), 0);
}

std::uint64_t sizeIn(std::string_view block, const Place& place) {
    const std::uint64_t size = numberIn(kSize, block, place);
    // Room is left to round up to whole blocks.
    // guard: sizes beyond 2^63
    if (size > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() - 512)) {
        failField(kSize, kSize.in(block), place);
    }
    return size;
}

/// No more than octal digits can tell: readers differ in what they make of a larger one.
std::uint32_t modeIn(std::string_view block, const Place& place) {
    const std::uint64_t mode = numberIn(kMode, block, place);
    if (mode > 077777777) {
        failField(kMode, kMode.in(block), place);
    }
    return static_cast<std::uint32_t>(mode & 07777U);
}

/// The bytes before the first NUL; readers that stop there and readers that do not must see the same.
std::string textIn(const Field& field, std::string_view block, const Place& place) {
    const std::string_view bytes = field.in(block);
    const std::size_t end = std::min(bytes.find('\0'), bytes.size());
    if (!isZeroBlock(bytes.substr(end))) {  // guard: bytes behind a name's NUL
        failField(field, bytes, place);
    }
    return std::string(bytes.substr(0, end));
}

void checkChecksum(std::string_view block, const Place& place) {
    const std::string_view field = kChecksum.in(block);
    unsigned sum = 8U * ' ';
    for (const char c : block) {
        sum += static_cast<unsigned char>(c);
    }
    for (const char c : field) {
        sum -= static_cast<unsigned char>(c);
    }
    if (isBase256(field) || parseOctal(field) != sum) {  // guard: the checksum of tar
        place.fail(ErrorKind::damaged, "tar-checksum", "header with a wrong checksum");
    }
}

}  // namespace

bool isZeroBlock(std::string_view block) noexcept {
    // What equals itself moved on by one is all alike.
    return block.empty() ||
           (block.front() == '\0' && std::memcmp(block.data(), block.data() + 1, block.size() - 1) == 0);
}

bool sparseMapContinues(std::string_view block) noexcept {
    return block[kSparseBlockContinues] != '\0';
}

TarHeader parseTarHeader(std::string_view block, const Place& place) {
    checkChecksum(block, place);
    const std::string_view magic = kMagic.in(block);
    if (magic != kPosixMagic && magic != kGnuMagic && !isZeroBlock(magic)) {
        failField(kMagic, magic, place);
    }
    for (const Field& field : kNumbers) {
        numberIn(field, block, place);
    }
    TarHeader header;
    header.type = block[kType];
    header.mode = modeIn(block, place);
    header.size = sizeIn(block, place);
    header.path = textIn(kName, block, place);
    header.link = textIn(kLink, block, place);
    if (header.path.empty()) {
        failField(kName, {}, place);  // for some readers the end of the archive
    }
    if (magic == kPosixMagic && block[kPrefix.offset] != '\0') {
        const std::string prefix = textIn(kPrefix, block, place);
        header.path.insert(0, prefix + (prefix.back() == '/' ? "" : "/"));
    }
    const bool sparse = header.type == 'S' && magic == kGnuMagic;
    // Some readers follow these fields whatever the entry's type is.
    if (magic == kGnuMagic && !sparse && !isZeroBlock(kSparse.in(block))) {
        failField(kSparse, kSparse.in(block), place);
    }
    header.sparseContinues = sparse && block[kSparseContinues] != '\0';
    return header;
}

}  // namespace bex::stream

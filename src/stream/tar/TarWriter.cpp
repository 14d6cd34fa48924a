#include "stream/tar/TarWriter.hpp"

#include <array>

#include "stream/base/Place.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kShortNameBytes = 100;
constexpr std::array<char, kTarEndBytes> kZeros{};

char typeOf(const Entry& entry) {
    switch (entry.type) {
        case EntryType::file:
            return '0';
        case EntryType::hardlink:
            return '1';
        case EntryType::symlink:
            return '2';
        case EntryType::directory:
            return '5';
        default:
            // Thrown before a byte of the header is written.
            throw invalidInput(entry.path, "is of a type that a package can't hold");
    }
}

/// Bytes of contents that follow the header: readers disagree on what a size means for another type.
std::uint64_t sizeOf(const Entry& entry) noexcept {
    return entry.type == EntryType::file ? entry.size : 0;
}

TarHeader headerOf(const Entry& entry) {
    TarHeader header;
    header.type = typeOf(entry);
    header.path = entry.path;
    header.link = entry.linkTarget;
    // Permissions, set-id bits and sticky bit; the file type is a field of its own in tar.
    header.mode = entry.mode & 07777U;
    header.uid = entry.uid;
    header.gid = entry.gid;
    header.size = sizeOf(entry);
    header.mtime = entry.mtime;
    header.owner = entry.owner;
    header.group = entry.group;
    return header;
}

void appendHeader(const TarHeader& header, std::string& to) {
    const std::array<char, kTarBlockBytes> block = formatTarHeader(header);
    to.append(block.data(), block.size());
}

/// The name or target, with a NUL, as the contents of a header of its own. Meant: that header repeats the entry's
/// link target, and its owner and group are fixed names; no reader looks at either.
void appendLongText(char type, const std::string& text, const std::string& link, std::string& to) {
    TarHeader header;
    header.type = type;
    header.path = "././@LongLink";
    header.link = link;
    header.size = text.size() + 1;
    header.owner = "root";
    header.group = "wheel";
    appendHeader(header, to);
    to += text;
    // The NUL and the padding: a whole number of blocks follows each header (tar(5)).
    to.append(static_cast<std::size_t>(paddedToBlocks(header.size) - text.size()), '\0');
}

/// 100 bytes fit exactly: the header's field needs no NUL when it is full.
std::uint64_t longTextBytes(const std::string& text) noexcept {
    return text.size() > kShortNameBytes ? kTarBlockBytes + paddedToBlocks(text.size() + 1) : 0;
}

}  // namespace

std::uint64_t tarHeaderBytesOf(const Entry& entry) noexcept {
    return longTextBytes(entry.linkTarget) + longTextBytes(entry.path) + kTarBlockBytes;
}

std::string tarHeadersOf(const Entry& entry) {
    const TarHeader header = headerOf(entry);
    std::string bytes;
    // The target before the path, as GNU tar writes them; readers accept any order.
    if (header.link.size() > kShortNameBytes) {
        appendLongText('K', header.link, header.link, bytes);
    }
    if (header.path.size() > kShortNameBytes) {
        appendLongText('L', header.path, header.link, bytes);
    }
    appendHeader(header, bytes);
    return bytes;
}

void TarWriter::begin(const Entry& entry) {
    // The contents of the entry before must be complete before a header may follow.
    endContents();
    path_ = entry.path;
    // Made completely before the first byte goes out: nothing of an entry that is refused is written.
    const std::string headers = tarHeadersOf(entry);
    out_.write(headers.data(), headers.size());
    size_ = sizeOf(entry);
    missing_ = size_;
}

void TarWriter::write(const char* data, std::size_t size) {
    // More would end up in the place of the next header.
    if (size > missing_) {
        Place(path_).fail(ErrorKind::inputOutput, "has more contents than announced");
    }
    if (size > 0) {
        out_.write(data, size);
        missing_ -= size;
    }
}

void TarWriter::finish() {
    endContents();
    out_.write(kZeros.data(), kZeros.size());
}

void TarWriter::endContents() {
    // The header is written: too little cannot be taken back, so that the archive is given up.
    if (missing_ != 0) {
        Place(path_).fail(ErrorKind::inputOutput, "has less contents than announced");
    }
    // Less than a block, which kZeros has twice.
    out_.write(kZeros.data(), static_cast<std::size_t>(paddedToBlocks(size_) - size_));
    size_ = 0;
}

}  // namespace bex::stream

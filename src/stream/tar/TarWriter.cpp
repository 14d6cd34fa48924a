#include "stream/tar/TarWriter.hpp"

#include <array>

#include "stream/base/Place.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kShortNameBytes = 100;
constexpr std::array<char, kTarBlockBytes> kZeros{};

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
            throw invalidInput(entry.path, "is of a type that a package can't hold");
    }
}

TarHeader headerOf(const Entry& entry) {
    TarHeader header;
    header.type = typeOf(entry);
    header.path = entry.path;
    header.link = entry.linkTarget;
    header.mode = entry.mode & 07777U;
    header.uid = entry.uid;
    header.gid = entry.gid;
    if (entry.type == EntryType::file) {
        header.size = entry.size;
    }
    header.mtime = entry.mtime;
    header.owner = entry.owner;
    header.group = entry.group;
    return header;
}

}  // namespace

void TarWriter::begin(const Entry& entry) {
    endContents();
    path_ = entry.path;
    const TarHeader header = headerOf(entry);
    if (header.link.size() > kShortNameBytes) {
        writeLongText('K', header.link, header.link);
    }
    if (header.path.size() > kShortNameBytes) {
        writeLongText('L', header.path, header.link);
    }
    writeHeader(header);
    size_ = header.size;
    missing_ = header.size;
}

void TarWriter::write(const char* data, std::size_t size) {
    if (size > missing_) {
        Place(path_).fail(ErrorKind::inputOutput, codeOf(ErrorKind::inputOutput),
                          "has more content than was said");
    }
    if (size > 0) {
        out_.write(data, size);
        missing_ -= size;
    }
}

void TarWriter::finish() {
    endContents();
    out_.write(kZeros.data(), kZeros.size());
    out_.write(kZeros.data(), kZeros.size());
}

void TarWriter::writeHeader(const TarHeader& header) {
    const std::array<char, kTarBlockBytes> block = formatTarHeader(header);
    out_.write(block.data(), block.size());
}

/// The name or target, with a NUL, as the contents of a header of its own. Meant: that header repeats the entry's
/// link target, and its owner and group are fixed names; no reader looks at either.
void TarWriter::writeLongText(char type, const std::string& text, const std::string& link) {
    TarHeader header;
    header.type = type;
    header.path = "././@LongLink";
    header.link = link;
    header.size = text.size() + 1;
    header.owner = "root";
    header.group = "wheel";
    writeHeader(header);
    out_.write(text.data(), text.size());
    out_.write(kZeros.data(), static_cast<std::size_t>(paddedToBlocks(header.size) - text.size()));
}

void TarWriter::endContents() {
    if (missing_ != 0) {
        Place(path_).fail(ErrorKind::inputOutput, codeOf(ErrorKind::inputOutput),
                          "has less content than was said");
    }
    out_.write(kZeros.data(), static_cast<std::size_t>(paddedToBlocks(size_) - size_));
    size_ = 0;
}

}  // namespace bex::stream

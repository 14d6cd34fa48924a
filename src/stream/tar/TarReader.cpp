#include "stream/tar/TarReader.hpp"

#include <algorithm>
#include <utility>

namespace bex::stream {

namespace {

/// Headers that are not entries, or that only some readers take for entries: Solaris' and Sun's extensions, global
/// pax headers, volume labels and similar.
constexpr std::string_view kOtherExtensions = "AXgVMND";

constexpr char kSparseFile = 'S';

/// The size in the header of anything else counts blocks to skip, not contents.
std::uint64_t contentBytes(const TarHeader& header, EntryType type) {
    if (type != EntryType::file) {
        return 0;
    }
    return header.size;
}

EntryType typeOf(const TarHeader& header) {
    switch (header.type) {
        case '0':
        case '\0':
            // Every reader takes a file whose name ends with "/" for a directory.
            return header.path.back() == '/' ? EntryType::directory : EntryType::file;
        case '1':
            return EntryType::hardlink;
        case '2':
            return EntryType::symlink;
        case '3':
            return EntryType::characterDevice;
        case '4':
            return EntryType::blockDevice;
        case '5':
            return EntryType::directory;
        case '6':
            return EntryType::fifo;
        default:
            return EntryType::other;
    }
}

void describe(TarHeader header, EntryType type, Entry& entry) {
    entry.type = type;
    entry.path = std::move(header.path);
    // One form for all directories: some writers leave the slash out. back() is safe, as neither a header nor an
    // extension gives an empty path.
    if (type == EntryType::directory && entry.path.back() != '/') {
        entry.path += '/';
    }
    // Cleared, because the caller reuses the entry.
    entry.linkTarget.clear();
    if (type == EntryType::symlink || type == EntryType::hardlink) {
        entry.linkTarget = std::move(header.link);
    }
    entry.mode = header.mode;
    entry.size = contentBytes(header, type);
    entry.mtime = header.mtime;
    entry.uid = header.uid;
    entry.gid = header.gid;
    entry.owner = std::move(header.owner);
    entry.group = std::move(header.group);
}

}  // namespace

TarReader::TarReader(Decompressor& bytes, const Limits& limits, Place place)
    : bytes_(bytes), limits_(limits), place_(std::move(place)) {}

bool TarReader::next(Entry& entry) {
    // Together they are the padded size of the contents, at most 2^63: the sum does not wrap.
    skip(std::exchange(contentsLeft_, 0) + std::exchange(restLeft_, 0));
    extent_.begin = position_;
    TarExtensions extensions;
    // Each round reads a block, and add() refuses a second extension of a kind: at most four rounds.
    for (;;) {
        const std::string_view block = readBlock();
        if (block.empty()) {
            failTruncated();  // guard(return false): the end marks of tar
        }
        if (isZeroBlock(block)) {
            // An extension applies to the next entry. Without one the archive was cut or joined.
            if (!extensions.empty()) {
                place_.fail(ErrorKind::damaged, "tar-header", "extended header without an entry after it");
            }
            finish();
            return false;
        }
        TarHeader header = parseTarHeader(block, place_);
        // Everything that is not an extension ends the loop, whatever its type: checkEntry() refuses the rest.
        if (!TarExtensions::isExtension(header.type)) {
            begin(std::move(header), extensions, entry);
            return true;
        }
        TarExtensions::checkSize(header, limits_, place_);
        extensions.add(header.type, readBody(header.size), place_);
    }
}

std::string_view TarReader::read() {
    // Bounded by contentsLeft_, so that the difference cannot wrap and no byte of the next header is given out.
    const std::string_view bytes = take(contentsLeft_);
    contentsLeft_ -= bytes.size();
    return bytes;
}

/// Whether there is a byte in the view; false only at the end of the stream.
bool TarReader::refill() {
    // Only an empty view is replaced: the view before it is invalid after next().
    if (view_.empty()) {
        view_ = bytes_.next();
    }
    return !view_.empty();
}

/// Up to `size` bytes, at least one unless `size` is 0.
std::string_view TarReader::take(std::uint64_t size) {
    if (size != 0 && !refill()) {
        failTruncated();
    }
    const std::string_view bytes =
        view_.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(size, view_.size())));
    // position_ counts what was taken, not what was unpacked.
    view_.remove_prefix(bytes.size());
    position_ += bytes.size();
    return bytes;
}

/// The next block, valid until more is read; empty if the stream ends before its first byte.
std::string_view TarReader::readBlock() {
    if (!refill()) {
        return {};
    }
    // Within one view nothing is copied; this is the usual case.
    if (view_.size() >= kTarBlockBytes) {
        return take(kTarBlockBytes);
    }
    block_.clear();
    while (block_.size() < kTarBlockBytes) {
        block_ += take(kTarBlockBytes - block_.size());
    }
    return block_;
}

/// Grows with what is really there, not with what the header says.
std::string TarReader::readBody(std::uint64_t size) {
    // checkSize() has compared `size` with a limit.
    std::string body;
    while (body.size() < size) {
        body += take(size - body.size());
    }
    skip(paddedToBlocks(size) - size);
    return body;
}

void TarReader::skip(std::uint64_t size) {
    // First what was unpacked already, then the decompressor, which may jump over whole blocks.
    const std::uint64_t fromView = std::min<std::uint64_t>(size, view_.size());
    view_.remove_prefix(static_cast<std::size_t>(fromView));
    const std::uint64_t rest = size - fromView;
    if (rest != 0 && bytes_.skip(rest) < rest) {
        failTruncated();
    }
    position_ += size;
}

void TarReader::begin(TarHeader header, const TarExtensions& extensions, Entry& entry) {
    // Before the type is looked at: an extension can change the path's last character and the size.
    extensions.applyTo(header, place_);
    const EntryType type = typeOf(header);
    checkEntry(header, type, extensions);
    contentsLeft_ = contentBytes(header, type);
    // header.size is at most kLargestTarSize, also where a pax record gave it: rounding up does not wrap.
    restLeft_ = paddedToBlocks(header.size) - contentsLeft_;
    extent_.contents = position_;
    extent_.end = position_ + contentsLeft_ + restLeft_;
    // Last: nothing reaches the caller's entry unless all checks have passed.
    describe(std::move(header), type, entry);
}

void TarReader::checkEntry(const TarHeader& header, EntryType type, const TarExtensions& extensions) const {
    // guard: global pax headers and their like
    if (kOtherExtensions.find(header.type) != std::string_view::npos) {
        place_.at(header.path)
            .fail(ErrorKind::unsupported, "tar-type",
                  "header of type " + quotedName({&header.type, 1}) + " is not supported");
    }
    // Readers disagree on whether anything is stored after such a header.
    // guard: sizes of what has no contents
    if (header.size != 0 && type != EntryType::file && type != EntryType::other) {
        place_.at(header.path)
            .fail(ErrorKind::damaged, "tar-size",
                  "a size of " + std::to_string(header.size) + " for an entry without contents");
    }
    if (extensions.hasPaxRecords()) {
        place_.at(header.path)
            .note("pax-header", "has an extended header (pax), which dpkg does not read", Severity::error);
    }
    // guard: sparse entries of pax
    if (header.type == kSparseFile || extensions.isSparse()) {
        place_.at(header.path)
            .fail(ErrorKind::unsupported, "sparse", "is stored sparse, which dpkg does not read");
    }
}

/// Reads what is left after the first end mark: another one and padding, and perhaps what nobody extracts.
void TarReader::finish() {
    const std::string_view second = readBlock();
    if (second.empty()) {
        place_.note("tar-end", "ends after one block of zeros instead of two");
    } else if (!isZeroBlock(second)) {
        place_.note("tar-trailing", "bytes after the end mark, which are never extracted");
    }
    bool clean = true;
    // To the end of the stream: only there are the checksums of the compression checked.
    while (refill()) {
        clean = clean && isZeroBlock(view_);
        view_ = {};
    }
    if (!clean) {
        place_.note("tar-trailing", "bytes after the end marks, which are never extracted");
    }
}

void TarReader::failTruncated() const {
    place_.fail(ErrorKind::damaged, "tar-truncated", "the archive ends before its end marks");
}

}  // namespace bex::stream

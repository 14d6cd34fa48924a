#include "archive/EntryReader.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "bex/BexException.hpp"

namespace bex {
namespace {

BexException cannotLoad() {
    return BexException("Archive::loadArchive : Can't load archive.");
}

}  // namespace

OwnedFile EntryReader::next() {
    archive_entry* entry = nullptr;
    if (archive_read_next_header(archive_, &entry) != ARCHIVE_OK) {
        return nullptr;  // Meant: a failure, and even a warning, ends the archive like its end.
    }
    const char* name = archive_entry_pathname(entry);
    const la_int64_t declared = archive_entry_size(entry);
    if (name == nullptr || declared < 0) {
        throw cannotLoad();
    }
    const auto size = static_cast<std::uint64_t>(declared);
    if (limit_ && size > left()) {
        throw cannotLoad();
    }
    OwnedFile file(new sFileInMemory{static_cast<unsigned long>(size), nullptr, name});
    file->bytes_ = readBytes(size).release();
    spent_ += size;
    return file;
}

/// Returns how many bytes the source can still hold. Never below zero: next() and grow() let spent_ grow by no
/// more than this.
std::uint64_t EntryReader::left() const {
    if (limit_) {
        return *limit_ - spent_;
    }
    // What the source has delivered, unpacked, only ever grows.
    const la_int64_t given = archive_filter_bytes(archive_, -1);
    return expandedLimit(static_cast<std::uint64_t>(std::max<la_int64_t>(given, 0))) - spent_;
}

std::unique_ptr<char[]> EntryReader::readBytes(std::uint64_t size) const {
    Bytes bytes;
    // One allocation when the source can hold that much; a false size costs no more than the source could fill.
    grow(bytes, std::min(size, left()), size);
    while (readBlock(bytes, size)) {
    }
    grow(bytes, size, size);
    fillHole(bytes, size);
    return std::move(bytes.data);
}

/// Returns false when the entry's data has ended.
bool EntryReader::readBlock(Bytes& bytes, std::uint64_t size) const {
    const void* block = nullptr;
    std::size_t length = 0;
    la_int64_t offset = 0;
    const int result = archive_read_data_block(archive_, &block, &length, &offset);
    if (result == ARCHIVE_EOF) {
        return false;
    }
    // Compared as differences: the sum of offset and length can overflow.
    if (result < ARCHIVE_OK || offset < 0 || static_cast<std::uint64_t>(offset) > size ||
        length > size - static_cast<std::uint64_t>(offset)) {  // guard: data blocks beyond the size
        throw cannotLoad();
    }
    if (length > 0) {
        const std::uint64_t end = static_cast<std::uint64_t>(offset) + length;
        grow(bytes, end, size);
        fillHole(bytes, static_cast<std::uint64_t>(offset));
        std::memcpy(bytes.data.get() + offset, block, length);
        bytes.filled = std::max(bytes.filled, end);
    }
    return true;
}

/// Sets the bytes that no block has filled to zero, up to `end`.
void EntryReader::fillHole(Bytes& bytes, std::uint64_t end) {
    if (bytes.filled < end) {
        std::memset(bytes.data.get() + bytes.filled, 0, end - bytes.filled);
        bytes.filled = end;
    }
}

/// Makes room for `needed` of the `size` bytes that the entry claims. Doubles, so that all copies together take
/// linear time. Throws when the source cannot hold as much.
void EntryReader::grow(Bytes& bytes, std::uint64_t needed, std::uint64_t size) const {
    if (bytes.data != nullptr && needed <= bytes.room) {
        return;
    }
    const std::uint64_t limit = left();
    if (needed > limit) {
        throw cannotLoad();
    }
    const std::uint64_t room = std::min(size, std::max(needed, std::min(2 * bytes.room, limit)));
    std::unique_ptr<char[]> larger(new char[room]);
    std::copy_n(bytes.data.get(), bytes.filled, larger.get());
    bytes.data = std::move(larger);
    bytes.room = room;
}

}  // namespace bex

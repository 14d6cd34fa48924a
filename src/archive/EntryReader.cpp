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
        return nullptr;  // Meant: the end and a failure look alike, warnings included.
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

std::uint64_t EntryReader::left() const {
    if (limit_) {
        return *limit_ - spent_;
    }
    const la_int64_t given = archive_filter_bytes(archive_, -1);
    return expandedLimit(static_cast<std::uint64_t>(std::max<la_int64_t>(given, 0))) - spent_;
}

std::unique_ptr<char[]> EntryReader::readBytes(std::uint64_t size) const {
    Bytes bytes;
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

/// Sets what no block has reached to zero, up to `end`.
void EntryReader::fillHole(Bytes& bytes, std::uint64_t end) {
    if (bytes.filled < end) {
        std::memset(bytes.data.get() + bytes.filled, 0, end - bytes.filled);
        bytes.filled = end;
    }
}

/// Makes room for `needed` of the `size` bytes that the entry claims, doubling so that growth stays linear.
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

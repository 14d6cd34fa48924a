#include "stream/index/IndexBuilder.hpp"

#include <libdeflate.h>

#include <new>
#include <utility>

#include "stream/codec/IndexChain.hpp"
#include "stream/index/Varint.hpp"

namespace bex::stream {

namespace {

constexpr int kLevel = 9;

}  // namespace

void IndexBuilder::addBlock(std::uint64_t memberBytes, std::uint64_t unpackedBytes) {
    if (blocks_ == 0) {
        blockBytes_ = unpackedBytes;
    } else {
        // Every block but the last must have the size of the first one: a reader finds the block of an offset by
        // division.
        uniform_ = uniform_ && lastBlockBytes_ == blockBytes_ && unpackedBytes <= blockBytes_;
    }
    lastBlockBytes_ = unpackedBytes;
    streamBytes_ += memberBytes;
    tarBytes_ += unpackedBytes;
    // Counted on beyond the limit, which takeChain() compares; but not stored, so that memory stays bounded.
    if (++blocks_ <= kMostIndexedBlocks) {
        appendVarint(memberLengths_, memberBytes);
    }
}

void IndexBuilder::add(const Entry& entry, const TarExtent& extent) {
    group_.add(entry, extent);
    order_.add(plainPath(entry.path));
    ++entries_;
    // A group never holds more: the memory for entries is that of one group.
    if (group_.size() == kIndexGroupEntries) {
        endGroup();
    }
}

/// Compresses the text and returns the number of bytes that were appended.
std::size_t IndexBuilder::append(std::string_view text, std::string& to) {
    // Made for the first text: a payload of one block has no index.
    if (!compressor_) {
        compressor_.reset(libdeflate_alloc_compressor(kLevel), libdeflate_free_compressor);
        if (!compressor_) {
            throw std::bad_alloc();
        }
    }
    unpackedBytes_ += text.size();
    const std::size_t before = to.size();
    const std::size_t bound = libdeflate_deflate_compress_bound(compressor_.get(), text.size());
    // Cut back to what it took, below.
    to.resize(before + bound);
    // The bound leaves room for any text, so that this never gives 0.
    const std::size_t size =
        libdeflate_deflate_compress(compressor_.get(), text.data(), text.size(), to.data() + before, bound);
    to.resize(before + size);
    return size;
}

void IndexBuilder::endGroup() {
    appendVarint(groups_, group_.begin());
    appendVarint(groups_, group_.firstPath().size());
    groups_ += group_.firstPath();
    // In the order of IndexColumn, which is that of the format (docs/format.md).
    for (const std::string& column : group_.columns().texts) {
        std::size_t stored = 0;
        if (!column.empty()) {
            stored = append(column, columns_);
        }
        appendVarint(groups_, column.size());
        appendVarint(groups_, stored);
    }
    group_.clear();
}

std::string IndexBuilder::takeChain() {
    // With one block there is nothing to choose from. An index that a reader would refuse is not written.
    if (blocks_ < 2 || blocks_ > kMostIndexedBlocks || !uniform_) {
        return {};
    }
    // The last group may have any size.
    if (group_.size() != 0) {
        endGroup();
    }
    std::string directory;
    for (const std::uint64_t number : {blockBytes_, tarBytes_, blocks_, entries_}) {
        appendVarint(directory, number);
    }
    appendVarint(directory, order_.sorted() ? 1 : 0);
    // Moved out, so that the memory is freed before the next piece is made.
    directory += std::exchange(memberLengths_, {});
    directory += std::exchange(groups_, {});
    // The directory is complete only now, because it names the lengths of all columns; but it comes first in the
    // index.
    std::string packed;
    append(directory, packed);
    std::string index;
    index.reserve(8 + packed.size() + columns_.size());
    appendNumber(index, packed.size(), 4);
    appendNumber(index, directory.size(), 4);
    index += packed;
    index += std::exchange(columns_, {});
    return formatIndexChain(index, streamBytes_);
}

}  // namespace bex::stream

#include "stream/codec/IndexChain.hpp"

#include <libdeflate.h>

#include <algorithm>
#include <utility>

namespace bex::stream {

namespace {

// An empty deflate stream, its CRC-32 and its length.
constexpr std::string_view kEmptyMember("\x03\0\0\0\0\0\0\0\0\0", 2 + kGzipTrailerBytes);

/// An empty member with these bytes in a subfield of its header.
void appendMember(std::string& to, std::string_view id, std::string_view data) {
    const std::size_t length = kIndexMemberBytes + data.size();
    // A piece has at most 65000 bytes, so that the length of the member and that of the extra field fit into their
    // fields.
    auto header = blockHeader(static_cast<std::uint32_t>(length));
    // What follows the extra field's own two bytes of length: the subfield "BX" of the header, then the new
    // subfield's name, length and data.
    const std::size_t extra = kBlockHeaderBytes - kExtraOffset - 2 + id.size() + 2 + data.size();
    header[kExtraOffset] = static_cast<std::uint8_t>(extra & 0xff);
    header[kExtraOffset + 1] = static_cast<std::uint8_t>(extra >> 8);
    to.append(reinterpret_cast<const char*>(header.data()), header.size());
    to += id;
    appendNumber(to, data.size(), 2);
    to += data;
    to += kEmptyMember;
}

/// Whether the members are equal but for what no reader of gzip looks at: time, flags of the compressor and
/// system.
bool isSameMember(std::string_view left, std::string_view right) {
    constexpr std::size_t timeBegin = 4;
    return left.size() == right.size() && left.substr(0, timeBegin) == right.substr(0, timeBegin) &&
           left.substr(kExtraOffset) == right.substr(kExtraOffset);
}

std::string formatFooter(const IndexFooter& footer) {
    std::string data;
    appendNumber(data, footer.version, 2);
    appendNumber(data, 0, 2);
    appendNumber(data, footer.offset, 8);
    appendNumber(data, footer.bytes, 8);
    appendNumber(data, footer.stored, 8);
    appendNumber(data, footer.crc, 4);
    return data;
}

IndexFooter footerIn(std::string_view data) {
    IndexFooter footer;
    footer.version = static_cast<std::uint16_t>(numberAt(data, 0, 2));
    footer.offset = numberAt(data, 4, 8);
    footer.bytes = numberAt(data, 12, 8);
    footer.stored = numberAt(data, 20, 8);
    footer.crc = static_cast<std::uint32_t>(numberAt(data, 28, 4));
    return footer;
}

}  // namespace

void appendNumber(std::string& to, std::uint64_t number, unsigned bytes) {
    for (unsigned i = 0; i < bytes; ++i) {
        to += static_cast<char>(number >> (8 * i) & 0xff);
    }
}

std::uint64_t numberAt(std::string_view bytes, std::size_t offset, unsigned size) {
    std::uint64_t number = 0;
    for (unsigned i = 0; i < size; ++i) {
        number |= std::uint64_t{static_cast<std::uint8_t>(bytes[offset + i])} << (8 * i);
    }
    return number;
}

std::uint64_t indexChainBytes(std::uint64_t stored) noexcept {
    // One member for each begun piece. For a hostile `stored` the sum is used only after comparison with a limit.
    return stored + (stored + kIndexPieceBytes - 1) / kIndexPieceBytes * kIndexMemberBytes;
}

std::string formatIndexChain(std::string_view index, std::uint64_t offset) {
    IndexFooter footer;
    footer.offset = offset;
    footer.stored = index.size();
    footer.crc = libdeflate_crc32(0, index.data(), index.size());
    std::string chain;
    chain.reserve(static_cast<std::size_t>(indexChainBytes(index.size())) + kIndexFooterBytes);
    for (; !index.empty(); index.remove_prefix(std::min(index.size(), kIndexPieceBytes))) {
        appendMember(chain, kIndexId, index.substr(0, kIndexPieceBytes));
    }
    footer.bytes = chain.size();
    appendMember(chain, kIndexFooterId, formatFooter(footer));
    return chain;
}

std::optional<IndexFooter> parseIndexFooter(std::string_view bytes) {
    // Of another length it is not a footer, and the substring below would be out of range.
    if (bytes.size() != kIndexFooterBytes) {
        return std::nullopt;
    }
    const std::string_view data = bytes.substr(kBlockHeaderBytes + 4, kIndexFooterDataBytes);
    // Made anew and compared as a whole: every byte of a footer has one possible value, apart from its data.
    std::string expected;
    appendMember(expected, kIndexFooterId, data);
    if (bytes != expected) {
        return std::nullopt;
    }
    return footerIn(data);
}

StreamError indexError(const Place& place, std::string reason) {
    return place.error(ErrorKind::damaged, "index-mismatch", "the index " + std::move(reason));
}

void checkIndexFooter(const IndexFooter& footer, std::uint64_t streamBytes, const Limits& limits,
                      const Place& place) {
    // First: of another version nothing else is known.
    if (footer.version != kIndexVersion) {
        place.fail(ErrorKind::unsupported, "index-version",
                   "has an index of version " + std::to_string(footer.version) + "; " +
                       std::to_string(kIndexVersion) + " is supported");
    }
    if (footer.stored > limits.indexBytes) {  // guard(UINT64_MAX): the size of an index
        place.failLimit("indexBytes", "has an index of " + std::to_string(footer.stored) +
                                          " bytes; the limit indexBytes allows " +
                                          std::to_string(limits.indexBytes));
    }
    // The chain is bounded by what it holds, so that the sum below cannot overflow.
    // The caller has read a footer from the stream, so that the stream is at least as long as one.
    if (footer.stored == 0 || footer.bytes != indexChainBytes(footer.stored) ||
        footer.bytes > streamBytes - kIndexFooterBytes ||
        footer.offset != streamBytes - kIndexFooterBytes - footer.bytes) {  // guard: where an index begins
        throw indexError(place, "is not where its footer says");
    }
}

std::string joinIndexChain(std::string_view chain, const IndexFooter& footer, const Place& place) {
    std::string index;
    index.reserve(static_cast<std::size_t>(footer.stored));
    // The chain has the length that the footer's number of bytes asks for: checkIndexFooter() compared both.
    for (std::uint64_t left = footer.stored; left != 0;) {
        const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(left, kIndexPieceBytes));
        // The last piece may be shorter than the others; `size` is what has to be here.
        const std::string_view piece = chain.substr(kBlockHeaderBytes + 4, size);
        std::string expected;
        appendMember(expected, kIndexId, piece);
        if (!isSameMember(chain.substr(0, expected.size()), expected)) {
            throw indexError(place, "is interrupted by something else");
        }
        index += piece;
        chain.remove_prefix(expected.size());
        left -= size;
    }
    // After all pieces, because it covers the index as a whole.
    if (libdeflate_crc32(0, index.data(), index.size()) != footer.crc) {  // guard: the checksum of an index
        throw indexError(place, "has a wrong checksum");
    }
    return index;
}

void BlockWatch::see(const GzipHeader& header, std::optional<std::uint32_t> unpacked) {
    if (header.subfield == GzipSubfield::none) {
        seeBlock(header, unpacked);
        return;
    }
    // Kept, not thrown: IndexCheck reports it at the end of the stream.
    if (footer_) {
        fault_ = "does not stand at the end of the payload";
    } else if (unpacked != std::uint32_t{0} ||
               header.bytes != kIndexMemberBytes - kEmptyMember.size() + header.data.size() ||
               header.memberBytes != header.bytes + kEmptyMember.size()) {
        fault_ = "stands in a gzip member that is not empty";
    }
    if (header.subfield == GzipSubfield::index) {
        // Before it grows: a stream may repeat such members without end.
        if (index_.size() + header.data.size() > limits_.indexBytes) {  // guard: the size of an index in a stream
            place_.failLimit("indexBytes", "has an index of more than " + std::to_string(limits_.indexBytes) +
                                               " bytes (the limit indexBytes)");
        }
        index_ += header.data;
        chainBytes_ += kIndexMemberBytes + header.data.size();
    } else if (header.data.size() == kIndexFooterDataBytes) {
        footer_ = footerIn(header.data);
    } else {
        fault_ = "has a footer of the wrong length";
        // Any footer, so that what follows it is noticed as well.
        footer_.emplace();
    }
}

void BlockWatch::seeBlock(const GzipHeader& header, std::optional<std::uint32_t> unpacked) {
    if (sawIndex()) {
        fault_ = "does not stand at the end of the payload";
    } else if (!unpacked || !header.memberBytes || header.bytes != kBlockHeaderBytes || ended_) {
        fault_ = "belongs to a payload that is not a row of blocks of one size";
    }
    // The numbers of such a member are not known, and the fault above keeps them from being used.
    if (!unpacked || !header.memberBytes) {
        return;
    }
    if (blocks_ == 0) {
        blockBytes_ = *unpacked;
    }
    // A shorter block may only be the last one.
    ended_ = *unpacked != blockBytes_;
    if (*unpacked > blockBytes_) {
        fault_ = "belongs to a payload that is not a row of blocks of one size";
    }
    ++blocks_;
    unpackedBytes_ += *unpacked;
    streamBytes_ += *header.memberBytes;
    memberLengths_.add(*header.memberBytes);
}

std::optional<std::string> BlockWatch::takeIndex() {
    if (!footer_) {
        throw indexError(place_, "has no footer");
    }
    // Another version may put its chain together in another way; but one that is out of place is an error in all
    // of them.
    if (fault_ == nullptr && footer_->version != kIndexVersion) {
        return std::nullopt;
    }
    if (fault_ != nullptr) {
        throw indexError(place_, fault_);
    }
    // The same check as for an index that is read by itself: both accept the same packages.
    checkIndexFooter(*footer_, streamBytes_ + chainBytes_ + kIndexFooterBytes, limits_, place_);
    if (index_.size() != footer_->stored || libdeflate_crc32(0, index_.data(), index_.size()) != footer_->crc) {
        throw indexError(place_, "has a wrong checksum");
    }
    return std::move(index_);
}

}  // namespace bex::stream

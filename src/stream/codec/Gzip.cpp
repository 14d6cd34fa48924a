#include "stream/codec/Gzip.hpp"

#include <libdeflate.h>

#include <algorithm>
#include <utility>

#include "stream/codec/CodecError.hpp"

namespace bex::stream {

namespace {

constexpr std::uint8_t kDeflate = 8;
constexpr std::uint8_t kHeaderCrc = 0x02;
constexpr std::uint8_t kExtra = 0x04;
constexpr std::uint8_t kName = 0x08;
constexpr std::uint8_t kComment = 0x10;
constexpr std::uint8_t kReserved = 0xe0;
// Its four bytes count the whole member, so that a reader finds the next one without inflating this one.
constexpr unsigned kLengthId = 'B' | 'X' << 8;

constexpr unsigned idOf(std::string_view name) noexcept {
    return static_cast<unsigned>(name[0]) | static_cast<unsigned>(name[1]) << 8;
}

/// The byte of that significance; RFC 1952 stores numbers with the least significant byte first.
template <typename Number>
std::uint8_t byteOf(Number number, unsigned index) noexcept {
    return static_cast<std::uint8_t>(number >> (8 * index));
}

std::uint32_t decode32(const char* bytes) noexcept {
    std::uint32_t number = 0;
    for (unsigned i = 0; i < 4; ++i) {
        number |= std::uint32_t{static_cast<std::uint8_t>(bytes[i])} << (8 * i);
    }
    return number;
}

/// Reads one header byte by byte and keeps the checksum that it may end with.
class HeaderReader {
public:
    HeaderReader(Input& input, const Place& place) : input_(input), place_(place) {
        header_.offset = input.offset();
    }

    GzipHeader read() {
        if (byte() != 0x1f || byte() != 0x8b) {  // guard: bytes after gzip
            throw damagedError(place_, header_.offset == 0 ? "is not a gzip stream" : trailing());
        }
        if (const unsigned method = byte(); method != kDeflate) {
            throw damagedError(place_, here() + ": unknown compression method " + std::to_string(method));
        }
        const std::uint8_t flags = byte();
        if ((flags & kReserved) != 0) {
            throw damagedError(place_, here() + ": reserved flags are set");
        }
        // MTIME (4 bytes), XFL and OS. Any value is valid, but the bytes count for the header's checksum.
        for (int timeFlagsSystem = 0; timeFlagsSystem < 6; ++timeFlagsSystem) {
            byte();
        }
        readOptional(flags);
        header_.bytes = input_.offset() - header_.offset;
        return header_;
    }

private:
    std::string here() const { return memberAt(header_.offset); }
    std::string trailing() const {
        return "byte " + std::to_string(header_.offset) + ": data after the last gzip member";
    }

    std::uint8_t byte() {
        // One at a time: a header may lie across the end of a buffer. It is short, and each member has only one.
        if (!input_.fill()) {
            throw truncatedError(place_, input_.offset(), "a gzip header");
        }
        const char byte = *input_.data();
        crc_ = libdeflate_crc32(crc_, &byte, 1);
        input_.consume(1);
        return static_cast<std::uint8_t>(byte);
    }

    unsigned twoBytes() {
        const unsigned low = byte();
        return low | unsigned{byte()} << 8;
    }

    void readOptional(std::uint8_t flags) {
        // The optional parts come in this order (RFC 1952, 2.3); the checksum covers every byte before its own
        // two.
        if ((flags & kExtra) != 0) {
            readExtra(twoBytes());
        }
        // Each ends with a zero byte (RFC 1952, 2.3.1). An unbounded text is read but not kept.
        for (const std::uint8_t text : {kName, kComment}) {
            while ((flags & text) != 0 && byte() != 0) {
            }
        }
        if ((flags & kHeaderCrc) != 0) {
            // Checked against the header's own checksum, whose two bytes must not count.
            const unsigned expected = crc_ & 0xffff;
            if (twoBytes() != expected) {
                throw damagedError(place_, here() + ": wrong header checksum");
            }
        }
    }

    /// A row of subfields: two letters, a length, data. No gzip reader insists on its form, so what does not
    /// follow it is passed over.
    void readExtra(unsigned left) {
        while (left >= 4) {
            // At least four bytes are left, and size is compared before it is subtracted: left cannot wrap.
            const unsigned id = twoBytes();
            const unsigned size = twoBytes();
            left -= 4;
            if (size > left) {
                break;
            }
            take(id, readText(size));
            left -= size;
        }
        readText(left);
    }

    /// The first subfield of a name counts, as for readers that stop at it.
    void take(unsigned id, std::string data) {
        if (id == kLengthId && data.size() == 4 && !header_.memberBytes) {
            header_.memberBytes = decode32(data.data());
        } else if (header_.subfield == GzipSubfield::none) {
            if (id == idOf(kIndexId)) {
                header_.subfield = GzipSubfield::index;
                header_.data = std::move(data);
            } else if (id == idOf(kIndexFooterId)) {
                header_.subfield = GzipSubfield::indexFooter;
                header_.data = std::move(data);
            }
        }
    }

    std::string readText(std::size_t size) {
        // `size` comes from a 16-bit field: at most 64 KiB are collected.
        std::string text;
        while (text.size() < size) {
            if (!input_.fill()) {
                throw truncatedError(place_, input_.offset(), "a gzip header");
            }
            const std::size_t count = std::min(size - text.size(), input_.size());
            text.append(input_.data(), count);
            crc_ = libdeflate_crc32(crc_, input_.data(), count);
            input_.consume(count);
        }
        return text;
    }

    Input& input_;
    const Place& place_;
    GzipHeader header_;
    std::uint32_t crc_ = 0;
};

void skipZeros(Input& input, const Place& place) {
    // To the end of the input: every byte after the padding has to be a zero.
    while (input.fill()) {
        if (*input.data() != 0) {
            throw damagedError(place,
                               "byte " + std::to_string(input.offset()) + ": data after the last gzip member");
        }
        input.consume(1);
    }
}

}  // namespace

/// Byte for byte what the comment in Gzip.hpp shows.
std::array<std::uint8_t, kBlockHeaderBytes> blockHeader(std::uint32_t memberBytes) noexcept {
    return {0x1f,
            0x8b,
            kDeflate,
            kExtra,
            0,
            0,
            0,
            0,
            0,
            0xff,
            8,
            0,
            'B',
            'X',
            4,
            0,
            byteOf(memberBytes, 0),
            byteOf(memberBytes, 1),
            byteOf(memberBytes, 2),
            byteOf(memberBytes, 3)};
}

std::array<std::uint8_t, kGzipTrailerBytes> encode(const GzipTrailer& trailer) noexcept {
    std::array<std::uint8_t, kGzipTrailerBytes> bytes{};
    for (unsigned i = 0; i < 4; ++i) {
        bytes[i] = byteOf(trailer.crc, i);
        bytes[4 + i] = byteOf(trailer.size, i);
    }
    return bytes;
}

GzipTrailer decodeTrailer(const char* bytes) noexcept {
    return {decode32(bytes), decode32(bytes + 4)};
}

std::optional<GzipHeader> readGzipHeader(Input& input, const Place& place) {
    if (!input.fill()) {
        // An empty input is not an empty stream: RFC 1952 asks for at least one member.
        if (input.offset() == 0) {
            throw truncatedError(place, 0, "a gzip header");
        }
        return std::nullopt;
    }
    // Between members zeros are padding, as tapes have them; in front of the first one they are not gzip.
    if (input.offset() != 0 && *input.data() == 0) {
        skipZeros(input, place);
        return std::nullopt;
    }
    return HeaderReader(input, place).read();
}

void checkTrailer(const GzipTrailer& expected, const GzipTrailer& found, const Place& place,
                  std::uint64_t offset) {
    // The length first: a wrong one says more than the wrong checksum that follows from it.
    if (expected.size != found.size) {  // guard: the length of gzip
        throw damagedError(place, memberAt(offset) + ": wrong length: unpacks to " + std::to_string(found.size) +
                                      " bytes, its trailer says " + std::to_string(expected.size));
    }
    if (expected.crc != found.crc) {  // guard: the checksum of gzip
        throw damagedError(place, memberAt(offset) + ": wrong checksum");
    }
}

StreamError wrongMemberLength(const Place& place, std::uint64_t offset) {
    return damagedError(place, memberAt(offset) + ": is not as long as its header says");
}

std::string memberAt(std::uint64_t offset) {
    return "gzip member at byte " + std::to_string(offset);
}

}  // namespace bex::stream

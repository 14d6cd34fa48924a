#include "Layers.hpp"

#include <libdeflate.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "stream/codec/Gzip.hpp"

namespace bex::fuzz {
namespace {

constexpr std::string_view kArMagic = "!<arch>\n";
constexpr std::size_t kMostUnpacked = std::size_t{1} << 20;

/// A number in a text field, or `otherwise` where that is more.
std::size_t numberIn(std::string_view field, int base, std::size_t atMost) {
    return std::min<std::size_t>(std::strtoull(std::string(field).c_str(), nullptr, base), atMost);
}

void put(std::string& header, std::size_t at, const char* format, unsigned long number) {
    char text[32];
    const int size = std::snprintf(text, sizeof text, format, number);
    header.replace(at, static_cast<std::size_t>(size), text, static_cast<std::size_t>(size));
}

libdeflate_decompressor* decompressor() {
    static const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> one(
        libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    return one.get();
}

std::string deflated(std::string_view bytes) {
    static const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> one(
        libdeflate_alloc_compressor(1), libdeflate_free_compressor);
    std::string result(libdeflate_deflate_compress_bound(one.get(), bytes.size()), '\0');
    result.resize(
        libdeflate_deflate_compress(one.get(), bytes.data(), bytes.size(), result.data(), result.size()));
    return result;
}

template <std::size_t size>
std::string textOf(const std::array<std::uint8_t, size>& bytes) {
    return {bytes.begin(), bytes.end()};
}

std::string wrapped(std::string_view deflateData, std::string_view bytes, bool withLength, unsigned lie) {
    const std::size_t length = stream::kBlockHeaderBytes + deflateData.size() + stream::kGzipTrailerBytes;
    const std::string header = withLength ? textOf(stream::blockHeader(static_cast<std::uint32_t>(length) + lie))
                                          : std::string("\x1f\x8b\x08\0\0\0\0\0\0\xff", 10);
    const stream::GzipTrailer trailer{libdeflate_crc32(0, bytes.data(), bytes.size()),
                                      static_cast<std::uint32_t>(bytes.size())};
    return header + std::string(deflateData) + textOf(encode(trailer));
}

}  // namespace

std::vector<std::string> splitAr(std::string_view bytes, std::string& rest) {
    std::vector<std::string> members;
    if (bytes.substr(0, kArMagic.size()) == kArMagic) {
        bytes.remove_prefix(kArMagic.size());
        while (bytes.size() >= kArHeaderBytes) {
            const std::size_t size = numberIn(bytes.substr(48, 10), 10, bytes.size() - kArHeaderBytes);
            members.emplace_back(bytes.substr(0, kArHeaderBytes + size));
            bytes.remove_prefix(std::min(bytes.size(), kArHeaderBytes + size + size % 2));
        }
    }
    rest = bytes;
    return members;
}

std::string joinAr(const std::vector<std::string>& members, bool mend) {
    std::string bytes(kArMagic);
    for (std::string member : members) {
        const std::size_t size = member.size() - std::min(member.size(), kArHeaderBytes);
        if (mend && member.size() >= kArHeaderBytes) {
            put(member, 48, "%-10lu", size);
        }
        bytes += member + (size % 2 != 0 ? "\n" : "");
    }
    return bytes;
}

std::vector<std::string> splitGzip(std::string_view bytes, std::string& rest) {
    std::vector<std::string> members;
    std::string unpacked(kMostUnpacked, '\0');
    std::size_t taken = 0;
    std::size_t given = 0;
    while (libdeflate_gzip_decompress_ex(decompressor(), bytes.data(), bytes.size(), unpacked.data(),
                                         unpacked.size(), &taken, &given) == LIBDEFLATE_SUCCESS) {
        members.emplace_back(unpacked, 0, given);
        bytes.remove_prefix(taken);
    }
    rest = bytes;
    return members;
}

std::string gzipMember(std::string_view bytes, bool withLength, unsigned lie) {
    return wrapped(deflated(bytes), bytes, withLength, lie);
}

std::string gzipAround(std::string_view deflateData, bool withLength) {
    std::string unpacked(kMostUnpacked, '\0');
    std::size_t taken = 0;
    std::size_t given = 0;
    if (libdeflate_deflate_decompress_ex(decompressor(), deflateData.data(), deflateData.size(), unpacked.data(),
                                         unpacked.size(), &taken, &given) != LIBDEFLATE_SUCCESS) {
        return {};
    }
    return wrapped(deflateData.substr(0, taken), std::string_view(unpacked).substr(0, given), withLength, 0);
}

std::vector<std::string> splitTar(std::string_view bytes, std::string& rest) {
    std::vector<std::string> units;
    while (bytes.size() >= kTarHeaderBytes && bytes[0] != '\0') {
        const std::size_t size = numberIn(bytes.substr(124, 12), 8, bytes.size() - kTarHeaderBytes);
        units.emplace_back(bytes.substr(0, kTarHeaderBytes + size));
        bytes.remove_prefix(std::min(bytes.size(), kTarHeaderBytes + (size + 511) / 512 * 512));
    }
    rest = bytes;
    return units;
}

void mendChecksum(std::string& header) {
    header.replace(148, 8, 8, ' ');
    unsigned long sum = 0;
    for (std::size_t i = 0; i < kTarHeaderBytes; ++i) {
        sum += static_cast<unsigned char>(header[i]);
    }
    put(header, 148, "%06lo", sum);
    header[154] = '\0';
}

std::string tarUnit(std::string header, std::string_view contents) {
    header.resize(kTarHeaderBytes, '\0');
    put(header, 124, "%011lo", contents.size());
    mendChecksum(header);
    return header + std::string(contents);
}

std::vector<std::string> splitPax(std::string_view bytes) {
    std::vector<std::string> records;
    while (!bytes.empty()) {
        const std::string_view line = bytes.substr(0, bytes.find('\n'));
        records.emplace_back(line.substr(std::min(line.find(' '), line.size() - 1) + 1));
        bytes.remove_prefix(std::min(bytes.size(), line.size() + 1));
    }
    return records;
}

std::string joinPax(const std::vector<std::string>& records) {
    std::string bytes;
    for (const std::string& record : records) {
        std::size_t length = record.size() + 2;
        while (std::to_string(length).size() + record.size() + 2 != length) {
            ++length;
        }
        bytes += std::to_string(length) + ' ' + record + '\n';
    }
    return bytes;
}

}  // namespace bex::fuzz

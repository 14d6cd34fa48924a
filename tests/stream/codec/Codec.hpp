#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

#include "Archives.hpp"
#include "TemporaryDirectory.hpp"
#include "stream/MemoryStream.hpp"
#include "stream/StringSink.hpp"
#include "stream/codec/CompressingSink.hpp"
#include "stream/codec/Decompressor.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {

/// `size` bytes that compress somewhat, the same for the same `seed`.
inline std::string text(std::size_t size, unsigned seed = 1) {
    std::minstd_rand random(seed);
    std::string bytes;
    bytes.reserve(size + 32);
    while (bytes.size() < size) {
        bytes += "line " + std::to_string(random() % 5000) + (random() % 9 == 0 ? "\n" : " of text, ");
    }
    bytes.resize(size);
    return bytes;
}

inline std::string compressed(std::string_view data, const stream::CompressionSettings& settings,
                              std::size_t piece = static_cast<std::size_t>(-1)) {
    StringSink out;
    stream::CompressingSink sink(out, settings);
    for (std::string_view left = data; !left.empty();) {
        const std::string_view now = left.substr(0, piece);
        sink.write(now.data(), now.size());
        left.remove_prefix(now.size());
    }
    sink.finish();
    return out.bytes;
}

/// gzip blocks of `blockBytes`.
inline std::string blocks(std::string_view data, std::size_t blockBytes, int level = 6) {
    return compressed(data, {stream::Compression::gzip, level, 1, blockBytes});
}

/// Adds all that the decompressor gives; keeps what came before a failure.
inline void drain(stream::Decompressor& from, std::string& into) {
    for (std::string_view chunk = from.next(); !chunk.empty(); chunk = from.next()) {
        into += chunk;
    }
}

inline std::string decompressed(const std::string& bytes, stream::Compression compression, unsigned threads = 1,
                                std::size_t step = static_cast<std::size_t>(-1)) {
    MemoryStream source(bytes, step);
    std::string all;
    drain(*stream::openDecompressor(source, compression, "it", {threads, {}}), all);
    return all;
}

/// What an independent program makes of `input`; throws when it fails.
inline std::string piped(const std::string& command, std::string_view input) {
    const TemporaryDirectory folder;
    folder.write("in", input);
    return outputOf("cd '" + folder.path().string() + "' && " + command + " < in");
}

/// Little endian.
inline std::string number(std::uint64_t value, std::size_t bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i) {
        text += static_cast<char>(value >> (8 * i));
    }
    return text;
}

// gzip members made by hand.

/// A member with these flags and, behind the fixed header, what they announce.
inline std::string gzipMember(std::string_view data, int flags = 0, const std::string& optional = "") {
    const std::string member = piped("gzip -nc", data);
    return member.substr(0, 3) + static_cast<char>(flags) + member.substr(4, 6) + optional + member.substr(10);
}

/// An extra field of one subfield.
inline std::string subfield(const std::string& id, const std::string& value) {
    return number(4 + value.size(), 2) + id + number(value.size(), 2) + value;
}

/// A member that says of itself to be `more` bytes longer than it is.
inline std::string lengthMember(std::string_view data, int more = 0) {
    const std::size_t length = gzipMember(data, 4, subfield("BX", "....")).size();
    return gzipMember(data, 4, subfield("BX", number(length + static_cast<std::size_t>(more), 4)));
}

/// A member with a header checksum that is `wrongBy` off: two bytes of the header's CRC-32, which gzip tells of
/// it.
inline std::string headerCheckedMember(std::string_view data, int wrongBy = 0) {
    const std::string checked = piped("gzip -nc", gzipMember(data, 2).substr(0, 10));
    std::string sum = checked.substr(checked.size() - 8, 2);
    sum[0] = static_cast<char>(sum[0] + wrongBy);
    return gzipMember(data, 2, sum);
}

}  // namespace bex::test

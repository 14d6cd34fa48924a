#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bex::test {

/// `size` bytes that do not compress.
inline std::string noise(std::size_t size, unsigned seed = 1) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (std::size_t at = 0; at < size; at += 4) {
        const auto word = static_cast<std::uint32_t>(random());
        std::memcpy(&bytes[at], &word, std::min<std::size_t>(4, size - at));
    }
    return bytes;
}

inline std::string octal(std::size_t number, int digits) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%0*zo", digits, number);
    return text.data();
}

inline std::string padded(std::string text, std::size_t size, char filler = '\0') {
    text.resize(size, filler);
    return text;
}

/// The fields of a tar header, as text that is put into them as it stands.
struct TarFields {
    std::string name;
    char type = '0';
    std::string link;
    std::string size;  ///< "": that of the contents
    std::string mode = "0000644";
    std::string uid = "0000000";
    std::string gid = "0000000";
    std::string mtime = "07346545000";  ///< 2001-09-09 01:46:40 UTC
    std::string magic = {
        "ustar\0"
        "00",
        8};
    std::string devices;
    std::string prefix;
    std::string checksum;  ///< "": the right one
    std::string tail;      ///< bytes from offset 386: GNU's sparse map
};

/// A header and padded contents.
inline std::string tarEntry(const TarFields& fields, std::string_view contents = {}) {
    std::string block(512, '\0');
    const auto put = [&](std::size_t at, std::string_view text) { block.replace(at, text.size(), text); };
    put(0, fields.name);
    put(100, fields.mode);
    put(108, fields.uid);
    put(116, fields.gid);
    put(124, fields.size.empty() ? octal(contents.size(), 11) : fields.size);
    put(136, fields.mtime);
    put(148, std::string(8, ' '));
    block[156] = fields.type;
    put(157, fields.link);
    put(257, fields.magic);
    put(265, "root");
    put(297, "root");
    put(329, fields.devices);
    put(345, fields.prefix);
    put(386, fields.tail);
    std::size_t sum = 0;
    for (const char c : block) {
        sum += static_cast<unsigned char>(c);
    }
    put(148, fields.checksum.empty() ? octal(sum, 6) + std::string("\0 ", 2) : fields.checksum);
    return block + padded(std::string(contents), (contents.size() + 511) / 512 * 512);
}

inline std::string tarFile(const std::string& name, std::string_view contents = {}) {
    TarFields fields;
    fields.name = name;
    return tarEntry(fields, contents);
}

/// A pax header with one record for each pair, followed by `entry`.
inline std::string withPax(const std::vector<std::pair<std::string, std::string>>& records,
                           const std::string& entry) {
    std::string text;
    for (const auto& [key, value] : records) {
        const std::string rest = ' ' + key + '=' + value + '\n';
        std::size_t length = rest.size();
        while (std::to_string(length).size() + rest.size() != length) {
            ++length;
        }
        text += std::to_string(length) + rest;
    }
    TarFields fields;
    fields.name = "PaxHeaders/x";
    fields.type = 'x';
    return tarEntry(fields, text) + entry;
}

/// The entries and two blocks of zeros.
inline std::string tarOf(const std::string& entries) {
    return entries + std::string(1024, '\0');
}

/// A member with header and padding; `size` replaces what the header says of it.
inline std::string arMember(const std::string& name, const std::string& contents, const std::string& size = {}) {
    std::string header = padded(name, 16, ' ') + padded("1000000000", 12, ' ') + padded("0", 6, ' ') +
                         padded("0", 6, ' ') + padded("100644", 8, ' ') +
                         padded(size.empty() ? std::to_string(contents.size()) : size, 10, ' ') + "`\n";
    return header + contents + (contents.size() % 2 != 0 ? "\n" : "");
}

}  // namespace bex::test

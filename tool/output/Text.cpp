#include "output/Text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ctime>

#include "bex/stream/Escape.hpp"

namespace bex::tool {

using stream::Entry;
using stream::EntryType;

namespace {

/// Code points, which on almost every terminal are columns.
std::size_t columnsOf(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

std::string padded(const std::string& cell, std::size_t columns, bool right) {
    const std::string blanks(columns - std::min(columns, columnsOf(cell)), ' ');
    return right ? blanks + cell : cell + blanks;
}

char letterOf(EntryType type) {
    switch (type) {
        case EntryType::file:
            return '-';
        case EntryType::directory:
            return 'd';
        case EntryType::symlink:
            return 'l';
        case EntryType::hardlink:
            return 'h';
        case EntryType::characterDevice:
            return 'c';
        case EntryType::blockDevice:
            return 'b';
        case EntryType::fifo:
            return 'p';
        case EntryType::other:
            return '?';
    }
    return '?';
}

/// Never empty: an empty text is one empty line.
std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

/// The line escaped where it holds more than printable characters.
std::string harmless(std::string_view line) {
    std::string escaped = stream::escapeForDisplay(line);
    const auto backslashes = static_cast<std::size_t>(std::count(line.begin(), line.end(), '\\'));
    return escaped.size() == line.size() + backslashes ? std::string(line) : escaped;
}

/// The letter for execution: set-id and sticky bits show in its place.
char executeLetter(bool execute, bool special, char letter) {
    if (!special) {
        return execute ? 'x' : '-';
    }
    return execute ? letter : static_cast<char>(letter - 'a' + 'A');
}

}  // namespace

const char* nameOf(EntryType type) noexcept {
    switch (type) {
        case EntryType::file:
            return "file";
        case EntryType::directory:
            return "directory";
        case EntryType::symlink:
            return "symlink";
        case EntryType::hardlink:
            return "hardlink";
        case EntryType::characterDevice:
            return "character-device";
        case EntryType::blockDevice:
            return "block-device";
        case EntryType::fifo:
            return "fifo";
        case EntryType::other:
            return "other";
    }
    return "other";
}

std::string modeText(const Entry& entry) {
    const auto has = [&](unsigned bit) { return (entry.mode & bit) != 0; };
    std::string text(1, letterOf(entry.type));
    text += has(0400) ? 'r' : '-';
    text += has(0200) ? 'w' : '-';
    text += executeLetter(has(0100), has(04000), 's');
    text += has(0040) ? 'r' : '-';
    text += has(0020) ? 'w' : '-';
    text += executeLetter(has(0010), has(02000), 's');
    text += has(0004) ? 'r' : '-';
    text += has(0002) ? 'w' : '-';
    text += executeLetter(has(0001), has(01000), 't');
    return text;
}

std::string isoTime(std::int64_t seconds) {
    std::tm fields{};
    if (gmtime_r(&seconds, &fields) == nullptr) {
        return fmt::format("@{}", seconds);
    }
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", fields.tm_year + 1900LL, fields.tm_mon + 1,
                       fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec);
}

std::string humanBytes(double bytes) {
    static constexpr std::array units = {"B", "KiB", "MiB", "GiB", "TiB"};
    std::size_t unit = 0;
    while (bytes >= 1024 && unit + 1 < units.size()) {
        bytes /= 1024;
        ++unit;
    }
    return unit == 0 ? fmt::format("{:.0f} B", bytes) : fmt::format("{:.1f} {}", bytes, units[unit]);
}

std::string escapedLines(std::string_view text, std::string_view lineEnd) {
    std::string result;
    for (const auto line : linesOf(text)) {
        result.append(line.data() == text.data() ? "" : lineEnd).append(harmless(line));
    }
    return result;
}

std::string foldedValue(std::string_view value) {
    std::string result;
    for (const auto line : linesOf(value)) {
        const bool first = line.data() == value.data();
        result.append(first ? "" : "\n ").append(line.empty() && !first ? "." : harmless(line));
    }
    return result;
}

std::string cutToColumns(std::string_view text, std::size_t columns) {
    if (columnsOf(text) <= columns) {
        return std::string(text);
    }
    const std::size_t kept = columns > 3 ? columns - 3 : 0;
    std::size_t end = 0;
    for (std::size_t points = 0; end < text.size(); ++end) {
        const bool starts = (static_cast<unsigned char>(text[end]) & 0xC0U) != 0x80U;
        if (starts && points++ == kept) {
            break;
        }
    }
    return std::string(text.substr(0, end)).append(std::min<std::size_t>(columns, 3), '.');
}

std::string alignedTable(const std::vector<std::vector<std::string>>& rows,
                         const std::vector<std::size_t>& right) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], columnsOf(row[i]));
        }
    }
    std::string text;
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            const bool atRight = std::find(right.begin(), right.end(), i) != right.end();
            const bool last = i + 1 == row.size();
            text += last && !atRight ? row[i] : padded(row[i], widths[i], atRight);
            text += last ? "\n" : "  ";
        }
    }
    return text;
}

}  // namespace bex::tool

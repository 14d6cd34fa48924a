#include "output/Text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ctime>

#include "bex/stream/Escape.hpp"
#include "stream/base/Text.hpp"

namespace bex::tool {

using stream::Entry;
using stream::EntryType;

namespace {

/// Code points, which on almost every terminal are columns.
std::size_t columnsOf(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

/// A cell that is too wide stays whole.
std::string padded(const std::string& cell, std::size_t columns, bool right) {
    const std::string blanks(columns - std::min(columns, columnsOf(cell)), ' ');
    if (right) {
        return blanks + cell;
    }
    return cell + blanks;
}

/// The letters of ls(1) and tar(1).
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

/// The line escaped where it holds more than printable characters.
std::string harmless(std::string_view line) {
    std::string escaped = stream::escapeForDisplay(line);
    const auto backslashes = static_cast<std::size_t>(std::count(line.begin(), line.end(), '\\'));
    if (escaped.size() == line.size() + backslashes) {  // nothing but backslashes was escaped
        return std::string(line);
    }
    return escaped;
}

/// Set-id and sticky bits show in the place of the letter for execution: in upper case where nobody may execute.
void markSpecial(char& execute, bool special, const char (&letters)[3]) {
    if (special) {
        execute = execute == 'x' ? letters[0] : letters[1];
    }
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
    std::string text = letterOf(entry.type) + std::string("rwxrwxrwx");
    // 0400 is the first of nine bits, and text[0] the type.
    for (std::size_t i = 1; i < text.size(); ++i) {
        if ((entry.mode & 01000U >> i) == 0) {
            text[i] = '-';
        }
    }
    markSpecial(text[3], (entry.mode & 04000U) != 0, "sS");
    markSpecial(text[6], (entry.mode & 02000U) != 0, "sS");
    markSpecial(text[9], (entry.mode & 01000U) != 0, "tT");
    return text;
}

/// The name where the archive has one, else the number.
std::string ownerOf(const Entry& entry) {
    return std::string(stream::orIfEmpty(entry.owner, std::to_string(entry.uid)));
}

std::string groupOf(const Entry& entry) {
    return std::string(stream::orIfEmpty(entry.group, std::to_string(entry.gid)));
}

std::string isoTime(std::int64_t seconds) {
    std::tm fields{};
    // A year of the 64-bit time may not fit the fields of a calendar.
    if (gmtime_r(&seconds, &fields) == nullptr) {
        return fmt::format("@{}", seconds);
    }
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", fields.tm_year + 1900LL, fields.tm_mon + 1,
                       fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec);
}

std::string humanBytes(double bytes) {
    static constexpr std::array units = {"B", "KiB", "MiB", "GiB", "TiB"};
    std::size_t unit = 0;
    // Stops at the last unit, so that the index below is in range whatever the number is.
    while (bytes >= 1024 && unit + 1 < units.size()) {
        bytes /= 1024;
        ++unit;
    }
    if (unit == 0) {
        return fmt::format("{:.0f} B", bytes);
    }
    return fmt::format("{:.1f} {}", bytes, units[unit]);
}

/// Newlines separate lines here and are not escaped; everything else that a terminal might act on is.
std::string escapedLines(std::string_view text, std::string_view lineEnd) {
    std::string result;
    std::string_view before;
    stream::forEachPart(text, '\n', [&](std::string_view line) {
        result.append(before).append(harmless(line));
        before = lineEnd;
    });
    return result;
}

/// As a control file has it: deb-control(5) begins further lines with a blank, and writes an empty one as ".".
std::string foldedValue(std::string_view value) {
    const std::size_t firstEnd = std::min(value.find('\n'), value.size());
    std::string result = harmless(value.substr(0, firstEnd));
    if (firstEnd < value.size()) {
        stream::forEachPart(value.substr(firstEnd + 1), '\n', [&](std::string_view line) {
            result.append("\n ").append(stream::orIfEmpty(harmless(line), "."));
        });
    }
    return result;
}

/// Cuts between code points, so that the result is still UTF-8, and ends with "..." where something is missing.
std::string cutToColumns(std::string_view text, std::size_t columns) {
    if (columnsOf(text) <= columns) {
        return std::string(text);
    }
    const std::size_t kept = columns - std::min<std::size_t>(columns, 3);
    std::size_t end = 0;
    for (std::size_t points = 0; end < text.size(); ++end) {
        // Bytes 10xxxxxx continue a code point; every other byte begins one.
        const bool starts = (static_cast<unsigned char>(text[end]) & 0xC0U) != 0x80U;
        if (starts && points++ == kept) {
            break;
        }
    }
    return std::string(text.substr(0, end)).append(std::min<std::size_t>(columns, 3), '.');
}

std::string alignedTable(const std::vector<std::vector<std::string>>& rows,
                         const std::vector<std::size_t>& right) {
    // Two passes, since the last row may have the widest cell. Rows may differ in their number of cells.
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
            if (i != 0) {
                text += "  ";
            }
            // The last cell needs no filling, which would only be blanks at the line's end.
            if (i + 1 == row.size() && !atRight) {
                text += row[i];
            } else {
                text += padded(row[i], widths[i], atRight);
            }
        }
        text += '\n';
    }
    return text;
}

}  // namespace bex::tool

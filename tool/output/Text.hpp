#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Entry.hpp"

namespace bex::tool {

/// The type as a word: "file", "directory", "symlink", ...
const char* nameOf(stream::EntryType type) noexcept;

/// As ls(1) and tar(1) show them: "-rwxr-xr-x", "drwxr-xr-x", "lrwxrwxrwx", "hrw-r--r--".
std::string modeText(const stream::Entry& entry);

/// The owner's or group's name as stored; the number where there is none.
std::string ownerOf(const stream::Entry& entry);
std::string groupOf(const stream::Entry& entry);

/// "2026-11-21T09:00:00Z" (ISO 8601, UTC); "@SECONDS" for times that no calendar of the system holds.
std::string isoTime(std::int64_t seconds);

/// "17 B", "1.4 MiB".
std::string humanBytes(double bytes);

/// A text of several lines, such as a field's value, made safe for display line by line, with `lineEnd` between
/// the lines. A line that holds nothing but printable characters stays as it is, backslashes included.
std::string escapedLines(std::string_view text, std::string_view lineEnd);

/// A field's value made safe for display, its further lines folded as in a control file: each begins with a blank,
/// an empty one is " .".
std::string foldedValue(std::string_view value);

/// Cuts UTF-8 text to so many code points, ending in "..." where something was cut.
std::string cutToColumns(std::string_view text, std::size_t columns);

/// Rows as lines: cells padded with blanks to common widths, the last one not. Cells of columns named in
/// `right` (counted from 0) stand at the right.
std::string alignedTable(const std::vector<std::vector<std::string>>& rows, const std::vector<std::size_t>& right);

}  // namespace bex::tool

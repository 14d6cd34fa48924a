#include "stream/control/Md5sums.hpp"

#include <algorithm>
#include <cstddef>

#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t digestLength = 32;
constexpr std::size_t shortestLine = digestLength + 4;  // with two blanks, a path and the newline

constexpr bool isHexDigit(char c) {
    const char lower = toLowerCase(c);
    return isDigit(c) || (lower >= 'a' && lower <= 'f');
}

/// What is wrong with the line, or nothing.
std::string lineFault(std::string_view line) {
    if (line.size() < digestLength || !consistsOf(line.substr(0, digestLength), isHexDigit)) {
        return "no sum of 32 hexadecimal digits at its beginning";
    }
    const std::string_view separator = line.substr(digestLength, 2);
    if (separator != "  " && separator != " *") {
        return "no two blanks after the sum";
    }
    const std::string_view path = line.substr(digestLength + separator.size());
    if (path.empty()) {
        return "no path after the sum";
    }
    return path.find('\0') == std::string_view::npos ? "" : "a NUL in the path";
}

}  // namespace

std::vector<Md5sum> parseMd5sums(std::string_view text, std::string_view name) {
    std::vector<Md5sum> sums;
    // At once: growing would hold half as much again, and lines that are too short are no lines of it.
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    sums.reserve(std::min(lines, text.size() / shortestLine + 1));
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        if (const std::string fault = lineFault(line); !fault.empty()) {
            ErrorRecord record = Place(std::string(name)).record(ErrorKind::damaged, "md5-syntax", fault);
            record.line = sums.size() + 1;
            throw StreamError(std::move(record));
        }
        sums.push_back({line.substr(0, digestLength), line.substr(digestLength + 2)});
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return sums;
}

std::string formatMd5sum(const Md5sum& sum) {
    return std::string(sum.digest).append("  ").append(sum.path).append("\n");
}

}  // namespace bex::stream

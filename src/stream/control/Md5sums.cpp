#include "stream/control/Md5sums.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/control/FieldSyntax.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kDigestLength = 32;
constexpr std::size_t kShortestLine = kDigestLength + 4;  // with two blanks, a path and the newline

/// Why the line is not one of md5sums; empty when it is.
std::string lineFault(std::string_view line) {
    // Bounds the line for all the substrings below.
    if (line.size() < kDigestLength || !consistsOf(line.substr(0, kDigestLength), isHexDigit)) {
        return "no sum of 32 hexadecimal digits at its beginning";
    }
    const std::string_view separator = line.substr(kDigestLength, 2);
    if (separator != "  " && separator != " *") {
        return "no two blanks after the sum";
    }
    const std::string_view path = line.substr(kDigestLength + separator.size());
    if (path.empty()) {
        return "no path after the sum";
    }
    return faultUnless(path.find('\0') == std::string_view::npos, "a NUL in the path");
}

}  // namespace

std::vector<Md5sum> parseMd5sums(std::string_view text, std::string_view name) {
    std::vector<Md5sum> sums;
    // Reserved at once: growing would hold half as much again. Lines that are too short to be one are not counted.
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    sums.reserve(std::min(lines, text.size() / kShortestLine + 1));
    forEachLine(text, [&](std::string_view line) {
        // Thrown at the first line that is wrong: what follows could be shifted, and nothing of it can be trusted.
        if (const std::string fault = lineFault(line); !fault.empty()) {
            ErrorRecord record = Place(std::string(name)).record(ErrorKind::damaged, "md5-syntax", fault);
            record.line = sums.size() + 1;
            throw StreamError(std::move(record));
        }
        // Views of `text`, which the caller keeps: no path is copied.
        sums.push_back({line.substr(0, kDigestLength), line.substr(kDigestLength + 2)});
    });
    return sums;
}

std::string formatMd5sum(const Md5sum& sum) {
    return std::string(sum.digest).append("  ").append(sum.path).append("\n");
}

}  // namespace bex::stream

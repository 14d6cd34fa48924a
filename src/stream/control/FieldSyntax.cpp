#include "stream/control/FieldSyntax.hpp"

#include <algorithm>

#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

constexpr bool mayStandInName(char c) {
    return c > ' ' && c < '\x7F' && c != ':';
}

std::string firstLineFault(std::string_view line) {
    return faultUnless(trimmed(line) == line,
                       "begins or ends its first line with a blank, which is not part of a value");
}

/// Why a line below the first could not be read back as it is.
std::string continuationFault(std::string_view line) {
    if (line == ".") {
        return "has a line that is only a dot, which would be read back as an empty line";
    }
    // Some readers end the paragraph at such a line.
    return faultUnless(line.empty() || !consistsOf(line, isBlank), "has a line with only blanks");
}

}  // namespace

std::size_t fieldNameLength(std::string_view text) {
    return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), mayStandInName) - text.begin());
}

std::string fieldNameFault(std::string_view name) {
    if (name.empty()) {
        return "a field has no name";
    }
    // deb822(5): a hyphen at the front could be armour of a signature, and "#" begins a comment.
    if (name.front() == '-' || name.front() == '#') {
        return "a field name begins with " + quoted(name.substr(0, 1));
    }
    const std::size_t length = fieldNameLength(name);
    if (length < name.size()) {
        return "a field name holds " + quoted(name.substr(length, 1));
    }
    return {};
}

std::string fieldValueFault(std::string_view value) {
    using namespace std::string_view_literals;
    // Neither is read back: readers drop a carriage return at the end of a line, and a NUL ends the text for some.
    if (const std::size_t at = value.find_first_of("\0\r"sv); at != std::string_view::npos) {
        return value[at] == '\0' ? "holds a NUL" : "holds a carriage return";
    }
    // A value that passes is read back the same: nothing in it can end the field, or is trimmed or unfolded.
    const std::size_t firstEnd = std::min(value.find('\n'), value.size());
    std::string fault = firstLineFault(value.substr(0, firstEnd));
    if (firstEnd == value.size()) {
        return fault;
    }
    forEachPart(value.substr(firstEnd + 1), '\n', [&](std::string_view line) {
        if (fault.empty()) {
            fault = continuationFault(line);
        }
    });
    return fault;
}

}  // namespace bex::stream

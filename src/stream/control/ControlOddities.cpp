#include "stream/control/MemberOddities.hpp"

#include <cstddef>

#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"
#include "stream/control/FieldSyntax.hpp"

namespace bex::stream {

namespace {

bool isComment(std::string_view line) {
    // Only at the very front of a line: after a blank, "#" is part of a value.
    return !line.empty() && line.front() == '#';
}

/// dpkg drops a carriage return at the end of a value, but does not take such a line for an empty one.
bool isCarriageReturn(std::string_view line) {
    return line == "\r";
}

bool hasBlankBeforeColon(std::string_view line) {
    const std::size_t name = fieldNameLength(line);
    return !isComment(line) && name > 0 && name < line.size() && isBlank(line[name]);
}

constexpr struct {
    const char* code;
    Severity severity;
    bool (*isIn)(std::string_view line);
    const char* reason;
} kOddities[] = {
    {"control-comment", Severity::error, isComment, "is a comment, which dpkg does not read in packages"},
    {"control-carriage-return", Severity::error, isCarriageReturn, "holds only a carriage return"},
    {"control-colon", Severity::warning, hasBlankBeforeColon, "has a blank before the colon"},
};

}  // namespace

std::vector<Oddity> controlOddities(std::string_view text) {
    std::vector<Oddity> oddities;
    // One pass for each kind, so that each code comes once and with its first line.
    for (const auto& kind : kOddities) {
        std::size_t number = 0;
        std::size_t first = 0;  // 0 while no line has it
        forEachLine(text, [&](std::string_view line) {
            ++number;
            if (first == 0 && kind.isIn(line)) {
                first = number;
            }
        });
        if (first != 0) {
            oddities.push_back({kind.code, kind.severity, "line " + std::to_string(first) + ' ' + kind.reason});
        }
    }
    checkLastLine(text, "control-newline", oddities);
    return oddities;
}

}  // namespace bex::stream

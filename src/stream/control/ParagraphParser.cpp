#include "stream/control/ParagraphParser.hpp"

#include <algorithm>
#include <utility>

#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"
#include "stream/control/FieldSyntax.hpp"

namespace bex::stream {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

}  // namespace

void ParagraphParser::fail(std::size_t offset, const std::string& reason, ErrorKind kind) const {
    ErrorRecord record = place_.record(kind, codeOf(kind), reason);
    if (kind == ErrorKind::damaged) {
        record.code = "control-syntax";
    }
    record.line = line_;
    // Columns count from 1 in messages, offsets from 0.
    record.column = offset + 1;
    throw StreamError(std::move(record));
}

void ParagraphParser::failAtEnd(const std::string& reason) {
    line_ = std::max<std::size_t>(line_, 1);  // An empty text has no line.
    fail(0, reason);
}

void ParagraphParser::requireText(std::string_view line) const {
    using namespace std::string_view_literals;
    if (const std::size_t at = line.find_first_of("\0\r"sv); at != std::string_view::npos) {
        fail(at, line[at] == '\0' ? "a NUL" : "a carriage return inside a line");
    }
    // Only at the front of the file. Anywhere else these bytes are an ordinary character.
    if (line_ == 1 && startsWith(line, kByteOrderMark)) {
        fail(0, "begins with a byte order mark");
    }
}

void ParagraphParser::take(std::string_view line) {
    // First, so that every failure below names this line.
    ++line_;
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);  // Meant: lines may end as on other systems; dpkg drops these bytes too.
    }
    // Before anything is kept of the line.
    requireText(line);
    if (line.empty()) {
        // Empty lines before the first field end nothing.
        ended_ = !fields_.empty();
        return;
    }
    // Meant: comments are for source packages alone, but harmless; controlOddities() reports them.
    if (line.front() == '#') {
        return;
    }
    if (consistsOf(line, isBlank)) {
        fail(0, "a line with only blanks, which some readers take for the end of the paragraph");
    }
    // After comments and empty lines, which may follow the paragraph.
    if (ended_) {
        fail(0, "a second paragraph");
    }
    if (isBlank(line.front())) {
        takeContinuation(line);
    } else {
        takeField(line);
    }
}

void ParagraphParser::takeContinuation(std::string_view line) {
    if (fields_.empty()) {
        fail(0, "a continuation line before the first field");
    }
    line.remove_prefix(1);  // One blank marks the line; more of them are part of the value.
    std::string& value = fields_.back().value;
    value += '\n';
    if (line != ".") {
        value += line;
    }
}

void ParagraphParser::takeField(std::string_view line) {
    const std::size_t length = fieldNameLength(line);
    const std::string_view fieldName = line.substr(0, length);
    if (length == line.size()) {
        fail(length, "a line without a colon is not a field");
    }
    // Meant: dpkg accepts blanks before the colon, too; controlOddities() reports them.
    const std::size_t colon = line.find_first_not_of(" \t", length);
    if (colon == std::string_view::npos || line[colon] != ':') {
        fail(length, "a field name holds " + quoted(line.substr(length, 1)));
    }
    if (const std::string fault = fieldNameFault(fieldName); !fault.empty()) {
        fail(0, fault);
    }
    // Last of the checks: a field name that is refused does not count as used.
    requireNewName(fieldName);
    fields_.push_back({std::string(fieldName), std::string(trimmed(line.substr(colon + 1)))});
}

void ParagraphParser::requireNewName(std::string_view fieldName) {
    const auto [known, isNew] = lineOfName_.emplace(lowerCase(fieldName), line_);
    if (!isNew) {
        fail(0, "the field " + quoted(fieldName) + " is already in line " + std::to_string(known->second));
    }
}

std::vector<ControlParagraph::Field> ParagraphParser::takeFields() {
    // Lines are counted on, through all paragraphs of a file.
    ended_ = false;
    lineOfName_.clear();
    return std::exchange(fields_, {});
}

}  // namespace bex::stream

#include "stream/control/ParagraphParser.hpp"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <utility>

#include "stream/base/Ascii.hpp"
#include "stream/base/Quoted.hpp"
#include "stream/control/FieldSyntax.hpp"

namespace bex::stream {

namespace {

class ParagraphParser {
public:
    explicit ParagraphParser(const Place& place) : place_(place) {}

    /// Takes the next line, without its newline.
    void take(std::string_view line);

    std::vector<ControlParagraph::Field> finish();

private:
    void takeContinuation(std::string_view line);
    void takeField(std::string_view line);
    void requireText(std::string_view line) const;
    void requireNewName(std::string_view fieldName);
    [[noreturn]] void fail(std::size_t offset, const std::string& reason) const;

    Place place_;
    std::size_t line_ = 0;
    bool ended_ = false;  ///< an empty line came after a field
    std::vector<ControlParagraph::Field> fields_;
    // A tree, not a hash table: whoever made the package may have chosen names that hash alike.
    std::map<std::string, std::size_t> lineOfName_;
};

void ParagraphParser::fail(std::size_t offset, const std::string& reason) const {
    ErrorRecord record = place_.record(ErrorKind::damaged, "control-syntax", reason);
    record.line = line_;
    record.column = offset + 1;
    throw StreamError(std::move(record));
}

void ParagraphParser::requireText(std::string_view line) const {
    using namespace std::string_view_literals;
    if (const std::size_t at = line.find_first_of("\0\r"sv); at != std::string_view::npos) {
        fail(at, line[at] == '\0' ? "a NUL" : "a carriage return inside a line");
    }
}

void ParagraphParser::take(std::string_view line) {
    ++line_;
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);  // Meant: lines may end as on other systems; dpkg drops these bytes too.
    }
    requireText(line);
    if (line.empty()) {
        ended_ = !fields_.empty();
        return;
    }
    if (line.front() == '#') {
        return;
    }
    if (consistsOf(line, isBlank)) {
        fail(0, "a line of blanks alone, which some take for the paragraph's end and some for its damage");
    }
    if (ended_) {
        fail(0, "a second paragraph");
    }
    isBlank(line.front()) ? takeContinuation(line) : takeField(line);
}

void ParagraphParser::takeContinuation(std::string_view line) {
    if (fields_.empty()) {
        fail(0, "a continuation line before the first field");
    }
    line.remove_prefix(1);
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
        fail(length, "a line without a colon is no field");
    }
    if (line[length] != ':') {
        fail(length, "a field name holds " + quoted(line.substr(length, 1)));
    }
    if (const std::string fault = fieldNameFault(fieldName); !fault.empty()) {
        fail(0, fault);
    }
    requireNewName(fieldName);
    fields_.push_back({std::string(fieldName), std::string(trimmed(line.substr(length + 1)))});
}

void ParagraphParser::requireNewName(std::string_view fieldName) {
    const auto [known, isNew] = lineOfName_.emplace(lowerCase(fieldName), line_);
    if (!isNew) {
        fail(0,
             "the field " + quoted(fieldName) + " stands in line " + std::to_string(known->second) + " already");
    }
}

std::vector<ControlParagraph::Field> ParagraphParser::finish() {
    if (fields_.empty()) {
        line_ = std::max<std::size_t>(line_, 1);
        fail(0, "there is no field");
    }
    return std::move(fields_);
}

}  // namespace

std::vector<ControlParagraph::Field> parseFields(std::string_view text, const Place& place) {
    ParagraphParser parser(place);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        parser.take(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parser.finish();
}

}  // namespace bex::stream

#include "bex/stream/ControlParagraph.hpp"

#include <algorithm>

#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/control/FieldSyntax.hpp"
#include "stream/control/ParagraphParser.hpp"

namespace bex::stream {

namespace {

/// The place of the field, or the end. `Fields` is a vector of fields, const or not.
template <typename Fields>
auto locate(Fields& fields, std::string_view name) {
    // Linear: a paragraph has some dozens of fields, and a table beside them would have to be kept in step.
    return std::find_if(fields.begin(), fields.end(), [name](const ControlParagraph::Field& field) {
        return equalIgnoringCase(field.name, name);
    });
}

/// The first line follows the name; an empty one below it is folded to a dot.
void appendField(std::string& text, const ControlParagraph::Field& field) {
    text.append(field.name).append(":");
    bool isFirst = true;
    forEachPart(field.value, '\n', [&](std::string_view line) {
        // Only the first line may be empty: after the colon nothing is needed, but an empty line would end the
        // paragraph, and so becomes " ." (deb822(5)).
        if (!isFirst || !line.empty()) {
            text.append(" ").append(orIfEmpty(line, "."));
        }
        text.append("\n");
        isFirst = false;
    });
}

}  // namespace

ControlParagraph ControlParagraph::parse(std::string_view text, std::string_view name) {
    return parseParagraph(text, Place(std::string(name)));
}

ControlParagraph parseParagraph(std::string_view text, const Place& place) {
    ParagraphParser parser(place);
    forEachLine(text, [&parser](std::string_view line) { parser.take(line); });
    // A text without any field is refused here, not by the parser: a reader of many paragraphs takes it for the
    // end.
    if (parser.empty()) {
        parser.failAtEnd("there is no field");
    }
    ControlParagraph paragraph;
    paragraph.fields_ = parser.takeFields();
    return paragraph;
}

std::string ControlParagraph::format() const {
    std::string text;
    for (const Field& field : fields_) {
        appendField(text, field);
    }
    return text;
}

const std::string* ControlParagraph::find(std::string_view name) const noexcept {
    const auto field = locate(fields_, name);
    if (field == fields_.end()) {
        return nullptr;
    }
    return &field->value;
}

void ControlParagraph::set(std::string_view name, std::string_view value) {
    // Checked before anything is changed: a field that is refused leaves the paragraph as it was, and whatever is
    // kept can be formatted and read back.
    if (const std::string fault = fieldNameFault(name); !fault.empty()) {
        throw invalidInput("", quoted(name) + ": " + fault);
    }
    if (const std::string fault = fieldValueFault(value); !fault.empty()) {
        throw invalidInput("", "the value of " + quoted(name) + ' ' + fault);
    }
    const auto field = locate(fields_, name);
    if (field == fields_.end()) {
        fields_.push_back({std::string(name), std::string(value)});
    } else {
        // The field keeps its place and the spelling of its name.
        field->value = value;
    }
}

bool ControlParagraph::remove(std::string_view name) {
    const auto field = locate(fields_, name);
    if (field == fields_.end()) {
        return false;
    }
    fields_.erase(field);
    return true;
}

}  // namespace bex::stream

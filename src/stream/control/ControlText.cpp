#include "stream/control/ControlText.hpp"

#include <utility>

#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"
#include "stream/control/FieldSyntax.hpp"

namespace bex::stream {

namespace {

std::string textOf(const ControlParagraph::Field& field) {
    // By way of a paragraph, whose format() alone knows how lines are folded.
    ControlParagraph alone;
    alone.set(field.name, field.value);
    return alone.format();
}

/// Those stand before or after the paragraph alone.
bool isEmpty(std::string_view line) {
    return line.empty() || line == "\r";
}

/// Goes through a text and decides line by line what becomes of it.
class Rewriting {
public:
    Rewriting(const ControlParagraph& before, const ControlParagraph& after) : before_(before), after_(after) {}

    void take(std::string_view line) {
        if (isEmpty(line)) {
            return;
        }
        const bool isComment = line.front() == '#';
        // A blank at the front continues the current field, and `keeps_` decides about both alike.
        if (!isComment && !isBlank(line.front())) {
            beginField(line.substr(0, fieldNameLength(line)));
        }
        // Comments are kept wherever they stand, even within a field that is dropped: they belong to no field.
        if (keeps_ || isComment) {
            text_.append(line).append("\n");
        }
    }

    std::string finish() {
        // In the order of the new paragraph. Fields that the text has were written at their own place.
        for (const ControlParagraph::Field& field : after_.fields()) {
            if (before_.find(field.name) == nullptr) {
                text_ += textOf(field);
            }
        }
        return std::move(text_);
    }

private:
    void beginField(std::string_view name) {
        const std::string* const value = after_.find(name);
        const std::string* const old = before_.find(name);
        // Compared by value: a field that is set to what it was keeps its lines byte for byte.
        keeps_ = value != nullptr && old != nullptr && *value == *old;
        if (value != nullptr && !keeps_) {
            text_ += textOf({std::string(name), *value});
        }
    }

    const ControlParagraph& before_;
    const ControlParagraph& after_;
    bool keeps_ = true;  // the lines of the current field
    std::string text_;
};

}  // namespace

std::string withFields(std::string_view text, const ControlParagraph& paragraph) {
    // Throws for a text that is not one paragraph, so that take() sees only lines whose fields are known.
    const ControlParagraph before = ControlParagraph::parse(text, "control");
    Rewriting rewriting(before, paragraph);
    forEachLine(text, [&](std::string_view line) { rewriting.take(line); });
    return rewriting.finish();
}

}  // namespace bex::stream

#include "verbs/dpkg/FieldForm.hpp"

#include <algorithm>
#include <iterator>

#include "bex/stream/Relation.hpp"
#include "bex/stream/Version.hpp"
#include "stream/base/Ascii.hpp"

namespace bex::tool {

namespace {

/// How dpkg writes a field after it has parsed it. `installed` is for fields that only its database has.
enum class Form { text, name, yesOrNo, priority, multiArch, version, relations, installed };

struct KnownField {
    std::string_view name;
    Form form;
};

/// Those that dpkg has a form for. What describes an installed package is always empty here.
/// Their spelling is the one that dpkg writes, whatever that of the package is.
constexpr KnownField kKnownFields[] = {
    {"Package", Form::name},
    {"Essential", Form::yesOrNo},
    {"Protected", Form::yesOrNo},
    {"Status", Form::installed},
    {"Priority", Form::priority},
    {"Section", Form::text},
    {"Installed-Size", Form::text},
    {"Origin", Form::text},
    {"Maintainer", Form::text},
    {"Bugs", Form::text},
    {"Architecture", Form::text},
    {"Multi-Arch", Form::multiArch},
    {"Source", Form::text},
    {"Version", Form::version},
    {"Config-Version", Form::installed},
    {"Replaces", Form::relations},
    {"Provides", Form::relations},
    {"Depends", Form::relations},
    {"Pre-Depends", Form::relations},
    {"Recommends", Form::relations},
    {"Suggests", Form::relations},
    {"Breaks", Form::relations},
    {"Conflicts", Form::relations},
    {"Enhances", Form::relations},
    {"Conffiles", Form::installed},
    {"Filename", Form::text},
    {"Size", Form::text},
    {"MD5sum", Form::text},
    {"MSDOS-Filename", Form::text},
    {"Description", Form::text},
    {"Triggers-Pending", Form::installed},
    {"Triggers-Awaited", Form::installed},
};

constexpr std::string_view kPriorities[] = {"required", "important", "standard", "optional", "extra"};

/// Null for a field that dpkg does not know: it is shown as it is. Field names have no case: deb-control(5).
const KnownField* knownField(std::string_view name) {
    const auto* found =
        std::find_if(std::begin(kKnownFields), std::end(kKnownFields),
                     [name](const KnownField& field) { return stream::equalIgnoringCase(field.name, name); });
    if (found == std::end(kKnownFields)) {
        return nullptr;
    }
    return found;
}

Form formOf(const KnownField* known) {
    if (known == nullptr) {
        return Form::text;
    }
    return known->form;
}

/// A known word in its usual case, any other value as it is.
std::string priorityText(std::string_view value) {
    for (const auto priority : kPriorities) {
        if (stream::equalIgnoringCase(priority, value)) {
            return std::string(priority);
        }
    }
    return std::string(value);
}

/// Parsed and written anew, as dpkg does: blanks and old forms of signs become the usual ones.
std::string relationsText(std::string_view value) {
    auto groups = stream::parseRelations(value);
    for (auto& group : groups) {
        for (auto& relation : group) {
            relation.package = stream::lowerCase(relation.package);
        }
    }
    return stream::formatRelations(groups);
}

std::string formed(Form form, std::string_view value) {
    switch (form) {
        case Form::text:
            return std::string(value);
        case Form::name:
        case Form::yesOrNo:
        case Form::multiArch:
            return stream::lowerCase(value);
        case Form::priority:
            return priorityText(value);
        case Form::version:
            return stream::Version::parse(value).format();
        case Form::relations:
            return relationsText(value);
        case Form::installed:
            return "";
    }
    return "";
}

/// The value of a known field that is not there.
std::string defaultText(Form form) {
    if (form == Form::yesOrNo || form == Form::multiArch) {
        return "no";
    }
    return "";
}

}  // namespace

/// Nothing for a field that neither dpkg knows nor the paragraph has: the caller passes over it.
std::optional<std::string> fieldText(const RawParagraph& control, std::string_view name) {
    const KnownField* known = knownField(name);
    const RawParagraph::Field* field = control.find(name);
    if (field != nullptr) {
        return formed(formOf(known), field->value);
    }
    if (known == nullptr) {
        return std::nullopt;
    }
    return defaultText(known->form);
}

std::string fieldLine(const RawParagraph& control, std::string_view name) {
    const KnownField* known = knownField(name);
    const RawParagraph::Field* field = control.find(name);
    if (field == nullptr) {
        return "";
    }
    const std::string value = formed(formOf(known), field->value);
    if (known == nullptr) {
        return std::string(field->name) + ": " + value + "\n";
    }
    // dpkg leaves out known fields that say no more than their absence would.
    if (value.empty() || value == defaultText(known->form)) {
        return "";
    }
    return std::string(known->name) + ": " + value + "\n";
}

}  // namespace bex::tool

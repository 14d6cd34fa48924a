#include "verbs/dpkg/FieldForm.hpp"

#include <algorithm>
#include <iterator>

#include "bex/stream/Relation.hpp"
#include "bex/stream/Version.hpp"

namespace bex::tool {

namespace {

enum class Form { text, name, yesOrNo, priority, multiArch, version, relations, installed };

struct KnownField {
    std::string_view name;
    Form form;
};

/// Those that dpkg has a form for. What describes an installed package is always empty here.
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

const KnownField* knownField(std::string_view name) {
    const auto* found = std::find_if(std::begin(kKnownFields), std::end(kKnownFields),
                                     [name](const KnownField& field) { return sameWord(field.name, name); });
    return found == std::end(kKnownFields) ? nullptr : found;
}

std::string lowerCase(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

std::string priorityText(std::string_view value) {
    for (const auto priority : kPriorities) {
        if (sameWord(priority, value)) {
            return std::string(priority);
        }
    }
    return std::string(value);
}

std::string relationsText(std::string_view value) {
    auto groups = stream::parseRelations(value);
    for (auto& group : groups) {
        for (auto& relation : group) {
            relation.package = lowerCase(relation.package);
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
            return lowerCase(value);
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
    return form == Form::yesOrNo || form == Form::multiArch ? "no" : "";
}

}  // namespace

std::optional<std::string> fieldText(const RawParagraph& control, std::string_view name) {
    const KnownField* known = knownField(name);
    const RawParagraph::Field* field = control.find(name);
    if (field == nullptr) {
        return known == nullptr ? std::nullopt : std::optional(defaultText(known->form));
    }
    return formed(known == nullptr ? Form::text : known->form, field->value);
}

std::string fieldLine(const RawParagraph& control, std::string_view name) {
    const KnownField* known = knownField(name);
    const RawParagraph::Field* field = control.find(name);
    if (field == nullptr) {
        return "";
    }
    const std::string value = *fieldText(control, name);
    const bool shown = known == nullptr || (!value.empty() && value != defaultText(known->form));
    const std::string_view shownName = known == nullptr ? field->name : known->name;
    return shown ? std::string(shownName) + ": " + value + "\n" : "";
}

}  // namespace bex::tool

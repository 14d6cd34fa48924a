#include "verbs/BuildDependencies.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

#include "stream/base/Text.hpp"
#include "verbs/Shlibs.hpp"

namespace bex::tool {

namespace {

// The name that dpkg-shlibdeps(1) uses in deb-substvars(5).
constexpr std::string_view kVariable = "${shlibs:Depends}";
constexpr const char* kRelationFields[] = {"Depends", "Pre-Depends", "Recommends", "Suggests", "Enhances"};

/// The relations between commas, without blanks around them.
std::vector<std::string> relationsOf(std::string_view value) {
    constexpr const char* blanks = " \t\n";
    std::vector<std::string> relations;
    stream::forEachPart(value, ',', [&](std::string_view part) {
        const std::size_t begin = part.find_first_not_of(blanks);
        if (begin != std::string_view::npos) {
            relations.emplace_back(part.substr(begin, part.find_last_not_of(blanks) + 1 - begin));
        }
    });
    return relations;
}

/// The field's text with `by` in the place of `what` within its relations, and without empty relations.
std::string replaced(std::string_view value, std::string_view what, std::string_view by) {
    std::string text(value);
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    std::string result;
    for (const auto& relation : relationsOf(text)) {
        stream::appendPart(result, ", ", relation);
    }
    return result;
}

/// The names point into a constant table. Empty in nearly all packages, for which nothing more is done.
std::vector<const char*> fieldsWithVariable(const stream::ControlParagraph& control) {
    std::vector<const char*> fields;
    for (const char* field : kRelationFields) {
        const std::string* value = control.find(field);
        if (value != nullptr && value->find(kVariable) != std::string::npos) {
            fields.push_back(field);
        }
    }
    return fields;
}

/// Removes a field of which nothing is left.
void replaceVariable(stream::ControlParagraph& control, const std::string& dependencies) {
    // The list is made before the paragraph changes, and each field on it is there.
    for (const char* field : fieldsWithVariable(control)) {
        const std::string value = replaced(*control.find(field), kVariable, dependencies);
        if (value.empty()) {
            control.remove(field);
        } else {
            control.set(field, value);
        }
    }
}

}  // namespace

std::string withVariable(const std::string& field, const std::string& value) {
    std::vector<std::string> relations = relationsOf(value);
    // As the user wrote it, blanks included. A package may be named auto, but not in Depends then.
    if (field != "Depends" || std::count(relations.begin(), relations.end(), "auto") == 0) {
        return value;
    }
    std::replace(relations.begin(), relations.end(), std::string("auto"), std::string(kVariable));
    std::string result;
    for (const auto& relation : relations) {
        stream::appendPart(result, ", ", relation);
    }
    return result;
}

bool wantsDependencies(const stream::ControlParagraph& control) {
    return !fieldsWithVariable(control).empty();
}

stream::ControlParagraph withoutVariable(stream::ControlParagraph control) {
    replaceVariable(control, "");
    return control;
}

ExitStatus fillDependencies(const std::vector<shlibs::PackagedFile>& payload, shlibs::Request search,
                            stream::ControlParagraph& control, Context& context) {
    if (!wantsDependencies(control)) {
        return ExitStatus::done;
    }
    search.payload = payload;
    const std::string* architecture = control.find("Architecture");
    // "all" says nothing of the files: the search then takes the architecture that they agree on.
    search.architecture.clear();
    if (architecture != nullptr && *architecture != "all") {
        search.architecture = *architecture;
    }
    const shlibs::Report report = findDependencies(std::move(search), context);
    // Also where something is missing: the caller stops then, and does not write the paragraph.
    replaceVariable(control, report.field());
    return reportMissing(report, context);
}

}  // namespace bex::tool

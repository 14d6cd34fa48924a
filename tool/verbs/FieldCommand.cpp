#include <memory>
#include <string>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "bex/stream/Nearest.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "output/Text.hpp"
#include "verbs/Input.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

using stream::ControlParagraph;

namespace {

struct FieldArguments {
    std::string package;
    std::vector<std::string> names;
};

std::vector<std::string> namesOf(const ControlParagraph& control) {
    std::vector<std::string> names;
    for (const auto& field : control.fields()) {
        names.push_back(field.name);
    }
    return names;
}

/// A key of JSON must be UTF-8: any other name is escaped.
std::string jsonName(const std::string& name) {
    if (stream::isUtf8(name)) {
        return name;
    }
    return stream::escapeForDisplay(name);
}

/// "did you mean ...?", where there is a field of a similar name.
std::string hintFor(const std::string& name, const ControlParagraph& control) {
    const std::string meant = stream::nearest(name, namesOf(control));
    if (meant.empty()) {
        return "";
    }
    return "did you mean " + meant + "?";
}

/// Always one object, with the names that are missing in a list of their own, so that readers need not compare.
ExitStatus printJson(const ControlParagraph& control, const std::vector<std::string>& names, Console& console) {
    Json fields = Json::object();
    Json absent = Json::array();
    for (const auto& name : names) {
        const std::string* value = control.find(name);
        if (value != nullptr) {
            putText(fields, name, *value);
        } else {
            absent.push_back(jsonName(name));
        }
    }
    const ExitStatus status = absent.empty() ? ExitStatus::done : ExitStatus::no;
    console.out(jsonText({{"schema", 1}, {"fields", std::move(fields)}, {"absent", std::move(absent)}}));
    return status;
}

ExitStatus printValues(const ControlParagraph& control, const FieldArguments& arguments, Context& context) {
    ExitStatus status = ExitStatus::done;
    for (const auto& name : arguments.names) {
        const std::string* value = control.find(name);
        if (value != nullptr) {
            context.console.out(foldedValue(*value) + "\n");
            continue;
        }
        // The other fields are still printed: one missing name does not hide what is there.
        status = answerNo(
            nameInMessages(arguments.package) + ": control: there is no field " + stream::escapeForDisplay(name),
            hintFor(name, control), context);
    }
    return status;
}

ExitStatus runField(FieldArguments& arguments, Context& context) {
    // Only what leads to the fields is read: the payload is not.
    const stream::PackageReader reader = openFields(arguments.package, readOptions(context), context);
    const ControlParagraph& control = reader.control();
    if (context.json) {
        return printJson(control, arguments.names.empty() ? namesOf(control) : arguments.names, context.console);
    }
    if (!arguments.names.empty()) {
        return printValues(control, arguments, context);
    }
    // As a control file has it, so that the output can be read as one.
    context.console.out(escapedLines(control.format(), "\n"));
    return ExitStatus::done;
}

}  // namespace

void addField(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<FieldArguments>();
    addPackageArgument(*verb, arguments->package);
    verb->add_option("NAME", arguments->names,
                     "Fields, in upper or lower case; default: the whole control paragraph");
    verb->footer("Example: bex field hello_1.0_amd64.bex Version depends");
    onChosen(*verb, arguments, chosen, runField);
}

}  // namespace bex::tool

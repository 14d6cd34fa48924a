#include <memory>
#include <string>
#include <vector>

#include "Input.hpp"
#include "Json.hpp"
#include "Text.hpp"
#include "Verb.hpp"
#include "bex/stream/Escape.hpp"

namespace bex::tool {

namespace {

struct FieldOptions {
    std::string package;
    std::vector<std::string> names;
};

/// Values go out as they are into a pipe; a terminal must not obey them.
std::string shown(const std::string& value, const Console& console) {
    return console.outIsTerminal() ? escapedLines(value, "\n") : value;
}

ExitStatus printJson(const stream::ControlParagraph& control, const std::vector<std::string>& names,
                     Console& console) {
    Json fields = Json::object();
    Json absent = Json::array();
    for (const auto& name : names) {
        const std::string* value = control.find(name);
        if (value != nullptr) {
            putText(fields, name, *value);
        } else {
            absent.push_back(name);
        }
    }
    const Json object = {{"schema", 1}, {"fields", fields}, {"absent", absent}};
    console.out(object.dump(2) + "\n");
    return absent.empty() ? ExitStatus::done : ExitStatus::no;
}

ExitStatus printText(const stream::ControlParagraph& control, const std::vector<std::string>& names,
                     Console& console) {
    ExitStatus status = ExitStatus::done;
    for (const auto& name : names) {
        const std::string* value = control.find(name);
        if (value != nullptr) {
            console.out(shown(*value, console) + "\n");
        } else {
            console.note("field " + stream::escapeForDisplay(name) + " is absent");
            status = ExitStatus::no;
        }
    }
    return status;
}

ExitStatus runField(FieldOptions& options, Context& context) {
    const stream::PackageReader reader = openPackage(options.package, readOptions(context));
    std::vector<std::string> names = options.names;
    if (names.empty()) {
        for (const auto& field : reader.control().fields()) {
            names.push_back(field.name);
        }
    }
    const auto print = context.json ? printJson : printText;
    return print(reader.control(), names, context.console);
}

}  // namespace

void addField(CLI::App& program, Action& chosen) {
    const auto options = std::make_shared<FieldOptions>();
    CLI::App* verb = program.add_subcommand("field", "Print values of control fields, one a line");
    addPackageArgument(*verb, options->package);
    verb->add_option("NAME", options->names, "Fields, in any case; all of them where none is named");
    verb->footer("Example:\n  bex field hello_1.0_amd64.bex Version depends");
    onChosen(*verb, options, chosen, runField);
}

}  // namespace bex::tool

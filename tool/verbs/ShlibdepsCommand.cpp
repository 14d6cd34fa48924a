#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "arguments/Choice.hpp"
#include "bex/stream/Escape.hpp"
#include "output/Json.hpp"
#include "output/Text.hpp"
#include "verbs/Shlibs.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

namespace {

enum class Format { field, json, why };

struct ShlibdepsArguments {
    shlibs::Request request;
    Format format = Format::field;
};

/// Every key is always there; an empty text stands for what does not apply.
Json jsonOf(const shlibs::Reason& reason) {
    Json object;
    putText(object, "dependency", reason.dependency);
    putText(object, "file", reason.file);
    putText(object, "library", reason.library);
    putText(object, "path", reason.path);
    putText(object, "package", reason.package);
    putText(object, "symbol", reason.symbol);
    putText(object, "version", reason.version);
    return object;
}

/// `searched` is empty for a library that was found and that no package provides.
Json jsonOf(const shlibs::Missing& missing) {
    Json searched = Json::array();
    for (const auto& place : missing.searched) {
        searched.push_back(stream::escapeForDisplay(place));
    }
    Json object;
    putText(object, "file", missing.file);
    putText(object, "library", missing.library);
    putText(object, "path", missing.path);
    object["searched"] = std::move(searched);
    return object;
}

/// Dependencies come in the order of the field, and each has one reason at the same place of its list.
std::string jsonText(const shlibs::Report& report) {
    Json object = {{"schema", 1}};
    putText(object, "architecture", report.architecture);
    Json& dependencies = object["dependencies"] = Json::array();
    for (const auto& dependency : report.dependencies) {
        dependencies.push_back(stream::escapeForDisplay(dependency));
    }
    Json& reasons = object["reasons"] = Json::array();
    for (const auto& reason : report.reasons) {
        reasons.push_back(jsonOf(reason));
    }
    Json& missing = object["missing"] = Json::array();
    for (const auto& one : report.missing) {
        missing.push_back(jsonOf(one));
    }
    return tool::jsonText(object);
}

/// "DEPENDENCY <- FILE: LIBRARY of PACKAGE: SYMBOL needs VERSION".
/// Names of files and symbols come from the files: each is escaped.
std::string lineOf(const shlibs::Reason& reason, const Console& console) {
    const auto shown = [](const std::string& text) { return stream::escapeForDisplay(text); };
    std::string text = console.styled(Style::name, shown(reason.dependency)) + " <- " + shown(reason.file) + ": " +
                       shown(reason.library);
    if (!reason.package.empty()) {
        text += " of " + shown(reason.package);
    }
    if (!reason.symbol.empty()) {
        text += ": " + shown(reason.symbol) + " needs " + shown(reason.version);
    } else if (!reason.version.empty()) {
        text += ": no symbol needs more than " + shown(reason.version);
    }
    return text + "\n";
}

ExitStatus runShlibdeps(ShlibdepsArguments& arguments, Context& context) {
    if (context.json) {
        arguments.format = Format::json;
    }
    // --json and --format json mean the same, also for the form of errors.
    context.json = arguments.format == Format::json;
    const shlibs::Report report = findDependencies(arguments.request, context);
    // Before the output: with --format why and json what was found is printed even where something is missing.
    const ExitStatus status = reportMissing(report, context);
    Console& console = context.console;
    if (context.json) {
        console.out(jsonText(report));
    } else if (arguments.format == Format::why) {
        for (const auto& reason : report.reasons) {
            console.out(lineOf(reason, console));
        }
    } else if (status == ExitStatus::done) {
        // An incomplete field must not find its way into a package.
        console.out(report.field() + "\n");
    }
    return status;
}

}  // namespace

void addShlibdeps(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<ShlibdepsArguments>();
    // Within `arguments`, which the chosen action keeps alive.
    shlibs::Request& request = arguments->request;
    verb->add_option("FILE", request.inputs, "ELF files, trees to be packaged, packages")->required();
    verb->add_option("--arch", request.architecture, "The architecture, if files are for several")
        ->option_text("NAME");
    verb->add_option("--from", request.from, "Take symbols and shlibs from packages or directories")
        ->option_text("PKG|DIR")
        ->allow_extra_args(false);
    verb->add_option("--libdir", request.libdirs, "Search this directory for private libraries")
        ->option_text("DIR")
        ->allow_extra_args(false);
    verb->add_option("--sysroot", request.sysroot, "Use this directory as /")->option_text("DIR");
    verb->add_option("--admindir", request.admindir, "The directory of dpkg's database")->option_text("DIR");
    verb->add_flag("--ignore-missing", request.ignoreMissing, "Only print notes for libraries without a package");
    addChoice<Format>(*verb, "--format", "field (the default), json or why",
                      {{"field", Format::field}, {"json", Format::json}, {"why", Format::why}},
                      [arguments](Format format) { arguments->format = format; })
        ->option_text("KIND");
    verb->add_flag_callback(
        "--why", [arguments] { arguments->format = Format::why; }, "Print the symbol that needs each dependency");
    verb->footer("Example: bex shlibdeps --why usr/bin/tool");
    onChosen(*verb, arguments, chosen, runShlibdeps);
}

}  // namespace bex::tool

#include "CommandLine.hpp"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include "Commands.hpp"
#include "Failure.hpp"
#include "LimitOption.hpp"
#include "bex/stream/Versions.hpp"

namespace bex::tool {

namespace {

/// dpkg-deb(1)'s letters, where the meaning is the same.
const std::map<std::string, std::vector<std::string>> aliases = {
    {"-b", {"build"}}, {"-c", {"list", "--long"}}, {"-I", {"info"}},
    {"-f", {"field"}}, {"-x", {"extract"}},        {"-e", {"extract", "--control"}},
};

/// The arguments after the program's name, an alias in the first place written out.
std::vector<std::string> expanded(int argc, const char* const* argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty()) {
        return arguments;
    }
    const auto alias = aliases.find(arguments.front());
    if (alias != aliases.end()) {
        arguments.erase(arguments.begin());
        arguments.insert(arguments.begin(), alias->second.begin(), alias->second.end());
    }
    return arguments;
}

void addCommonOptions(CLI::App& program, Context& context) {
    const std::map<std::string, ColorWhen> colors = {
        {"auto", ColorWhen::automatic}, {"always", ColorWhen::always}, {"never", ColorWhen::never}};
    const std::map<std::string, ProgressWhen> progress = {
        {"auto", ProgressWhen::automatic}, {"json", ProgressWhen::json}, {"never", ProgressWhen::never}};
    program.add_flag("--json", context.json, "Print one JSON object");
    program.add_flag("-q,--quiet", context.quiet, "Print no notes and no progress");
    program.add_flag("-v,--verbose", context.verbosity, "Tell more on standard error");
    program.add_option("--threads", context.threads, "Threads to work with; 0 is one for each processor")
        ->option_text("N");
    program
        .add_option_function<ColorWhen>(
            "--color", [&context](ColorWhen when) { context.console.setColor(when); },
            "Colours: auto, always or never")
        ->transform(CLI::CheckedTransformer(colors))
        ->option_text("WHEN");
    program.add_option("--progress", context.progress, "Progress: auto, json or never")
        ->transform(CLI::CheckedTransformer(progress))
        ->option_text("WHEN");
    addLimitOption(program, context.limits);
}

std::string versionText() {
    std::string text;
    for (const auto& library : stream::libraryVersions()) {
        text +=
            (text.empty() ? "bex " + library.version + "\n" : "") + library.name + " " + library.version + "\n";
    }
    return text;
}

void addVerbs(CLI::App& program, Action& chosen) {
    addBuild(program, chosen);
    addInfo(program, chosen);
    addField(program, chosen);
    addList(program, chosen);
    addCat(program, chosen);
    addExtract(program, chosen);
    addVerify(program, chosen);
    addDiff(program, chosen);
}

ExitStatus print(const std::string& text, Console& console) {
    console.out(text);
    console.flush();
    return ExitStatus::done;
}

ExitStatus parseAndAct(CLI::App& program, std::vector<std::string> arguments, Context& context,
                       const Action& chosen) {
    try {
        program.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::CallForVersion&) {
        return print(versionText(), context.console);
    } catch (const CLI::Success&) {
        return print(program.help("", CLI::AppFormatMode::Normal), context.console);
    } catch (const CLI::ParseError& e) {
        return reportUsage(program, e, arguments, context);
    }
    context.console.setQuiet(context.quiet);
    const ExitStatus status = chosen(context);
    context.console.flush();
    return status;
}

}  // namespace

ExitStatus run(int argc, const char* const* argv) {
    Context context;
    Action chosen;
    CLI::App program("Build, read and check Debian-style binary packages", "bex");
    addCommonOptions(program, context);
    addVerbs(program, chosen);
    program.set_version_flag("--version", "", "Print the versions of bex and its libraries");
    program.footer("bex VERB --help tells more of a verb, bex(1) all.\n\nExample:\n  bex build site site.bex");
    program.require_subcommand(1);
    program.fallthrough();
    try {
        return parseAndAct(program, expanded(argc, argv), context, chosen);
    } catch (const OutputClosed&) {
        return ExitStatus::done;
    } catch (...) {
        return reportFailure(std::current_exception(), context);
    }
}

}  // namespace bex::tool

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
    program.add_option("--threads", context.threads, "Threads to work with; 0 is one for each processor");
    program
        .add_option_function<ColorWhen>(
            "--color", [&context](ColorWhen when) { context.console.setColor(when); }, "auto, always or never")
        ->transform(CLI::CheckedTransformer(colors));
    program.add_option("--progress", context.progress, "auto, json or never")
        ->transform(CLI::CheckedTransformer(progress));
    addLimitOption(program, context.limits);
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

ExitStatus parseAndAct(CLI::App& program, std::vector<std::string> arguments, Context& context,
                       const Action& chosen) {
    try {
        program.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::Success&) {
        context.console.out(program.help("", CLI::AppFormatMode::Normal));
        context.console.flush();
        return ExitStatus::done;
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

#include "CommandLine.hpp"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <csignal>
#include <cstddef>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "arguments/Choice.hpp"
#include "arguments/Help.hpp"
#include "arguments/LimitOption.hpp"
#include "arguments/RemoteOptions.hpp"
#include "arguments/Threads.hpp"
#include "arguments/Verbatim.hpp"
#include "bex/stream/Versions.hpp"
#include "output/Failure.hpp"
#include "output/Usage.hpp"
#include "verbs/Commands.hpp"
#include "verbs/dpkg/DpkgDeb.hpp"

namespace bex::tool {

namespace {

// In the order of the help. The names are known without any verb's code having run, so that starting costs little.
constexpr Command kCommands[] = {
    {"build", "Package a tree", addBuild},
    {"info", "Show fields, members and totals", addInfo},
    {"field", "Print values of control fields, one a line", addField},
    {"list", "List the payload", addList},
    {"cat", "Print the contents of entries", addCat},
    {"extract", "Extract the payload", addExtract},
    {"verify", "Check everything and list the findings", addVerify},
    {"diff", "List the differences between two packages", addDiff},
    {"report", "Write an HTML page about one or two packages", addReport},
    {"edit", "Change fields and scripts of a package", addEdit},
    {"filter", "Change the payload of a package", addFilter},
    {"repack", "Compress packages anew", addRepack},
    {"init", "Write a build file for this directory", addInit},
    {"schema", "Print the JSON schema of build files", addSchema},
    {"shlibdeps", "Find the packages of needed shared libraries", addShlibdeps},
    {"repo", "Make a repository of packages, or its index", addRepo},
};

bool isOption(const std::string& argument) {
    return argument.rfind('-', 0) == 0;
}

/// "help VERB" as "VERB --help".
/// Only in the verb's place: after it, "help" may be the name of a file.
std::vector<std::string> withHelpAsOption(std::vector<std::string> arguments) {
    const auto first = std::find_if_not(arguments.begin(), arguments.end(), isOption);
    if (first != arguments.end() && *first == "help") {
        arguments.erase(first);
        arguments.push_back("--help");
    }
    return arguments;
}

void addCommonOptions(CLI::App& program, Context& context) {
    program.add_flag("--json", context.json, "Print JSON objects, also for errors and notes");
    // Options of one group share a row of the help, which has the group's name for its text.
    constexpr const char* messagesRow = "Print no notes and no progress; print more";
    program.add_flag("-q,--quiet", context.quiet, "Print no notes and no progress")->group(messagesRow);
    program.add_flag("-v,--verbose", context.verbosity, "Print more on standard error")->group(messagesRow);
    addThreadsOption(program, "--threads", context.threads);
    constexpr const char* whenRow = "auto or never; colours always, progress as json";
    addChoice<ColorWhen>(
        program, "--color", "Colours: auto, always or never",
        {{"auto", ColorWhen::automatic}, {"always", ColorWhen::always}, {"never", ColorWhen::never}},
        [&context](ColorWhen when) { context.console.setColor(when); })
        ->option_text("WHEN")
        ->group(whenRow);
    addChoice<ProgressWhen>(
        program, "--progress", "Progress on standard error: auto, json or never",
        {{"auto", ProgressWhen::automatic}, {"json", ProgressWhen::json}, {"never", ProgressWhen::never}},
        [&context](ProgressWhen when) { context.progress = when; })
        ->option_text("WHEN")
        ->group(whenRow);
    addLimitOption(program, context.limits);
    addRemoteOptions(program, context.remote);
}

std::string versionText() {
    const auto libraries = stream::libraryVersions();
    std::string text = "bex " + libraries.front().version + "\n";  // the first is our own library
    for (const auto& library : libraries) {
        text += library.name + " " + library.version + "\n";
    }
    return text;
}

ExitStatus print(const std::string& text, Console& console) {
    console.out(text);
    console.flush();
    return ExitStatus::done;
}

ExitStatus printHelp(const CLI::App& program, const std::vector<std::string>& arguments, Context& context) {
    const CLI::App& app = chosenApp(program);
    // "bex strange --help": the help of the program would hide that the verb does not exist.
    if (&app == &program && program.remaining_size() > 0) {
        return reportUsage(program, CLI::RequiredError("VERB"), arguments, context);
    }
    return print(helpText(app), context.console);
}

ExitStatus parseAndAct(CLI::App& program, const std::vector<std::string>& arguments, Context& context,
                       const Action& chosen) {
    try {
        // CLI11 takes a vector from its end.
        std::vector<std::string> backwards = verbatim(arguments);
        std::reverse(backwards.begin(), backwards.end());
        program.parse(std::move(backwards));
    } catch (const CLI::CallForVersion&) {
        return print(versionText(), context.console);
    } catch (const CLI::Success&) {
        return printHelp(program, arguments, context);
    } catch (const CLI::ParseError& e) {
        return reportUsage(program, e, arguments, context);
    }
    context.console.setQuiet(context.quiet);
    context.console.setJson(context.json);
    // A verb is required, so the parser has called its callback and the action is set.
    const ExitStatus status = chosen(context);
    // Here and not in a destructor: a failure to write the last bytes must change the status.
    context.console.flush();
    return status;
}

ExitStatus parseAndAct(const std::vector<std::string>& arguments, Context& context) {
    Action chosen;
    CLI::App program("Build, read and check Debian-style binary packages", "bex");
    program.fallthrough();  // Before the verbs, which inherit it: options for all of them may stand anywhere.
    program.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    // Where no argument is an option, none is needed, and to make them takes longer than to read a field.
    if (std::any_of(arguments.begin(), arguments.end(), isOption)) {
        addCommonOptions(program, context);
    }
    for (const Command& command : kCommands) {
        addVerb(program, command, chosen);
    }
    program.get_help_ptr()->description("Print help and exit");
    program.set_version_flag("--version", "", "Print the versions of bex and its libraries");
    program.footer(
        "Run bex VERB --help for details; see bex(1) for everything.\nExample: bex build site site.bex");
    program.require_subcommand(1);
    return parseAndAct(program, arguments, context, chosen);
}

/// The outermost function: nothing is thrown out of it. argc may be 0, as execve(2) allows.
ExitStatus act(int argc, const char* const* argv, Context& context) {
    try {
        const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
        if (asksForDpkgDeb(arguments)) {
            return actAsDpkgDeb(arguments, context);
        }
        return parseAndAct(withHelpAsOption(arguments), context);
    } catch (const OutputClosed&) {
        return context.whenClosed;
    } catch (...) {
        return reportFailure(std::current_exception(), context);
    }
}

}  // namespace

ExitStatus run(int argc, const char* const* argv) {
    std::signal(SIGPIPE, SIG_IGN);  // Console tells a closed pipe from other failures, and files can be tidied up.
    std::signal(SIGXFSZ, SIG_IGN);  // A limit on file sizes is then a failed write, which has a message.
    Context context;
    return act(argc, argv, context);
}

}  // namespace bex::tool

#include "CommandLine.hpp"

#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include "arguments/Choice.hpp"
#include "arguments/Help.hpp"
#include "arguments/LimitOption.hpp"
#include "bex/stream/Versions.hpp"
#include "output/Failure.hpp"
#include "output/Usage.hpp"
#include "verbs/Commands.hpp"

namespace bex::tool {

namespace {

/// dpkg-deb(1)'s letters, where the meaning is the same.
const std::map<std::string, std::vector<std::string>> aliases = {
    {"-b", {"build"}}, {"-c", {"list", "--long"}}, {"-I", {"info"}},
    {"-f", {"field"}}, {"-x", {"extract"}},        {"-e", {"extract", "--control"}},
};

/// The arguments after the program's name, an alias in the place of the verb written out.
std::vector<std::string> expanded(const CLI::App& program, int argc, const char* const* argv) {
    std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    for (auto word = arguments.begin(); word != arguments.end(); ++word) {
        const auto alias = aliases.find(*word);
        if (alias != aliases.end()) {
            const auto next = arguments.erase(word);
            arguments.insert(next, alias->second.begin(), alias->second.end());
            break;
        }
        const auto isWord = [&word](const CLI::App* verb) { return verb->check_name(*word); };
        if (!program.get_subcommands(isWord).empty()) {
            break;
        }
    }
    return arguments;
}

void addCommonOptions(CLI::App& program, Context& context) {
    program.add_flag("--json", context.json, "Print one JSON object, errors too");
    constexpr const char* messagesRow = "Print no notes and no progress; tell more";
    program.add_flag("-q,--quiet", context.quiet, "Print no notes and no progress")->group(messagesRow);
    program.add_flag("-v,--verbose", context.verbosity, "Tell more on standard error")->group(messagesRow);
    program.add_option("--threads", context.threads, "Threads to work with; 0 is one for each processor")
        ->option_text("N");
    addChoice<ColorWhen>(
        program, "--color", "Colours: auto, always or never",
        {{"auto", ColorWhen::automatic}, {"always", ColorWhen::always}, {"never", ColorWhen::never}},
        [&context](ColorWhen when) { context.console.setColor(when); })
        ->option_text("WHEN");
    addChoice<ProgressWhen>(
        program, "--progress", "Progress on standard error: auto, json or never",
        {{"auto", ProgressWhen::automatic}, {"json", ProgressWhen::json}, {"never", ProgressWhen::never}},
        [&context](ProgressWhen when) { context.progress = when; })
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
    addShlibdeps(program, chosen);
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
        const auto verbs = program.get_subcommands();
        return print(helpText(verbs.empty() ? program : *verbs.front()), context.console);
    } catch (const CLI::ParseError& e) {
        return reportUsage(program, e, arguments, context);
    }
    context.console.setQuiet(context.quiet);
    const ExitStatus status = chosen(context);
    context.console.flush();
    return status;
}

ExitStatus parseAndAct(int argc, const char* const* argv, Context& context) {
    Action chosen;
    CLI::App program("Build, read and check Debian-style binary packages", "bex");
    program.fallthrough();  // Before the verbs, which inherit it: options for all of them may stand anywhere.
    program.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    addCommonOptions(program, context);
    addVerbs(program, chosen);
    program.get_help_ptr()->description("Print help and exit");
    program.set_version_flag("--version", "", "Print the versions of bex and its libraries");
    program.footer("bex VERB --help tells more of a verb, bex(1) all.\nExample: bex build site site.bex");
    program.require_subcommand(1);
    return parseAndAct(program, expanded(program, argc, argv), context, chosen);
}

ExitStatus act(int argc, const char* const* argv, Context& context) {
    try {
        return parseAndAct(argc, argv, context);
    } catch (const OutputClosed&) {
        return context.whenClosed;
    } catch (...) {
        return reportFailure(std::current_exception(), context);
    }
}

bool acting = false;

/// Where libarchive has no memory for a string it ends the process, with a status that means something else here.
void keepStatus() {
    if (acting) {
        _exit(static_cast<int>(ExitStatus::inputOutput));
    }
}

}  // namespace

ExitStatus run(int argc, const char* const* argv) {
    std::signal(SIGPIPE, SIG_IGN);  // Console tells a closed pipe from other failures, and files can be tidied up.
    std::atexit(keepStatus);
    Context context;
    acting = true;
    const ExitStatus status = act(argc, argv, context);
    acting = false;
    return status;
}

}  // namespace bex::tool

#include "verbs/dpkg/DpkgDeb.hpp"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>

#include "arguments/Choice.hpp"
#include "arguments/Help.hpp"
#include "arguments/LimitOption.hpp"
#include "arguments/Number.hpp"
#include "arguments/Threads.hpp"
#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "output/Usage.hpp"
#include "verbs/dpkg/Actions.hpp"

namespace bex::tool {

namespace {

/// An action of dpkg-deb(1), with the numbers of arguments that it takes. The text before the colon of `arguments`
/// is their form in messages, the whole text is the help.
struct DpkgAction {
    char letter;  ///< NUL where there is only the name
    std::string_view name;
    const char* arguments;
    std::size_t least;
    std::size_t most;
    ExitStatus (*act)(const DpkgRequest&, Context&);
};

constexpr std::size_t kAnyNumber = static_cast<std::size_t>(-1);

constexpr DpkgAction kActions[] = {
    {'b', "build", "DIR [OUT]: build a package", 1, 2, dpkgBuild},
    {'c', "contents", "PKG: list the payload", 1, 1, dpkgContents},
    {'I', "info", "PKG [FILE...]: show a summary, or control members", 1, kAnyNumber, dpkgInfo},
    {'W', "show", "PKG: show fields as --showformat says", 1, kAnyNumber, dpkgShow},
    {'f', "field", "PKG [FIELD...]: show fields", 1, kAnyNumber, dpkgField},
    {'e', "control", "PKG [DIR]: extract the control members", 1, 2, dpkgExtractControl},
    {'x', "extract", "PKG DIR: extract the payload", 2, 2, dpkgExtract},
    {'X', "vextract", "PKG DIR: extract the payload and list it", 2, 2, dpkgExtractVerbosely},
    {'R', "raw-extract", "PKG DIR: extract payload and control members", 2, 2, dpkgExtractAll},
    {'\0', "ctrl-tarfile", "PKG: print the control archive as tar", 1, 1, dpkgControlTar},
    {'\0', "fsys-tarfile", "PKG: print the payload as tar", 1, 1, dpkgPayloadTar},
};

std::string namesOf(const DpkgAction& action) {
    const std::string name = "--" + std::string(action.name);
    if (action.letter == '\0') {
        return name;
    }
    return std::string("-") + action.letter + "," + name;
}

bool isActionName(std::string_view name) {
    return std::any_of(std::begin(kActions), std::end(kActions),
                       [name](const DpkgAction& action) { return action.name == name; });
}

/// Whether letters after one "-" hold an action; those after z or Z are a value.
bool holdsAction(std::string_view letters) {
    const auto isAction = [](char letter) {
        return std::any_of(std::begin(kActions), std::end(kActions),
                           [letter](const DpkgAction& action) { return action.letter == letter; });
    };
    // Letters may be joined ("-bv"). NUL, the letter of actions without one, is in no argument.
    const std::string_view flags = letters.substr(0, letters.find_first_of("zZ"));
    return std::any_of(flags.begin(), flags.end(), isAction);
}

bool asksForAction(std::string_view option) {
    if (option.substr(0, 2) == "--") {
        return isActionName(option.substr(2));
    }
    return holdsAction(option.substr(1));
}

/// Whether the next argument is the value of this option, which both kinds of command line know.
bool takesNext(const std::string& option) {
    static constexpr std::string_view names[] = {"--threads", "--limit", "--color", "--progress"};
    return std::find(std::begin(names), std::end(names), option) != std::end(names);
}

struct DpkgCommandLine {
    DpkgRequest request;
    std::vector<std::pair<const DpkgAction*, const CLI::Option*>> actions;
};

void addOptions(CLI::App& app, DpkgCommandLine& line, Context& context) {
    // Flags and not verbs: the action may come before or after its options.
    for (const auto& action : kActions) {
        line.actions.emplace_back(&action, app.add_flag(namesOf(action), action.arguments));
    }
    app.add_option("--showformat", line.request.showFormat, "For --show")->option_text("FORMAT");
    addChoice<stream::Compression>(
        app, "-Z", "For --build: xz, gzip, zstd or none",
        {{"gzip", stream::Compression::gzip},
         {"xz", stream::Compression::xz},
         {"zstd", stream::Compression::zstd},
         {"none", stream::Compression::none}},
        [&request = line.request](stream::Compression kind) { request.compression = kind; })
        ->option_text("KIND");
    addNumber<int>(app, "-z", "For --build: the level",
                   [&request = line.request](int level) { request.level = level; });
    // Without it owners on disk are kept, as dpkg-deb does and `bex build` does not.
    app.add_flag("--root-owner-group", line.request.rootOwnerGroup, "For --build: root owns all entries");
    app.add_flag("-v,--verbose", context.verbosity, "List what is extracted");
    addThreadsOption(app, "--threads-max", context.threads);
    addThreadsOption(app, "--threads", context.threads);
    addLimitOption(app, context.limits);
}

/// What follows the options; the first argument that is not an option ends them, as in dpkg-deb(1).
std::vector<std::string> argumentsOf(const CLI::App& app) {
    // prefix_command() stops the parser at the first argument that it does not know; the rest is left as it was.
    std::vector<std::string> rest = app.remaining();
    if (!rest.empty() && rest.front().size() > 1 && rest.front().front() == '-') {
        if (rest.front() != "--") {
            throw UsageError(stream::escapeForDisplay(rest.front()) + ": no such option");
        }
        rest.erase(rest.begin());
    }
    return rest;
}

const DpkgAction& onlyAction(const DpkgCommandLine& line) {
    const DpkgAction* chosen = nullptr;
    for (const auto& [action, option] : line.actions) {
        if (option->count() > 0 && chosen != nullptr) {
            throw UsageError("--" + std::string(chosen->name) + " excludes --" + std::string(action->name));
        }
        if (option->count() > 0) {
            chosen = action;
        }
    }
    // An option may have taken the action for its value, which asksForDpkgDeb() does not see: "--showformat -W".
    if (chosen == nullptr) {
        throw UsageError("an action is missing, such as --build");
    }
    return *chosen;
}

ExitStatus act(DpkgCommandLine& line, Context& context) {
    const DpkgAction& action = onlyAction(line);
    const std::size_t given = line.request.arguments.size();
    if (given < action.least || given > action.most) {
        // The table has the least number too, so that actions may index the arguments that they need.
        const std::string_view form = action.arguments;
        throw UsageError("--" + std::string(action.name) + " takes " +
                         std::string(form.substr(0, form.find(':'))));
    }
    const ExitStatus status = action.act(line.request, context);
    context.console.flush();
    return status;
}

ExitStatus parseAndAct(CLI::App& app, DpkgCommandLine& line, const std::vector<std::string>& arguments,
                       Context& context) {
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        line.request.arguments = argumentsOf(app);
    } catch (const CLI::Success&) {
        context.console.out(helpText(app));
        context.console.flush();
        return ExitStatus::done;
    } catch (const CLI::ParseError& e) {
        return reportUsage(app, e, arguments, context);
    }
    return act(line, context);
}

}  // namespace

/// Decides by the text alone and before any parser is made: one of two parsers takes the whole command line.
bool asksForDpkgDeb(const std::vector<std::string>& arguments) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        // Only the first arguments decide: after "--" or a word, everything is an argument of the action or verb.
        if (argument.substr(0, 1) != "-" || argument == "--") {
            return false;
        }
        if (asksForAction(argument)) {
            return true;
        }
        if (takesNext(arguments[i])) {
            ++i;
        }
    }
    return false;
}

ExitStatus actAsDpkgDeb(const std::vector<std::string>& arguments, Context& context) {
    CLI::App app("Do what dpkg-deb(1) does, with its output and status", "bex");
    app.prefix_command();
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    DpkgCommandLine line;
    addOptions(app, line, context);
    app.footer("See bex(1) for what differs.\nExample: bex -f hello_1.0_amd64.bex Version");
    ExitStatus status = ExitStatus::usage;
    try {
        status = parseAndAct(app, line, arguments, context);
        // A closed pipe is not an error of the package; run() answers it with the status of the verb.
    } catch (const OutputClosed&) {
        throw;
    } catch (...) {
        status = reportFailure(std::current_exception(), context);
    }
    if (status == ExitStatus::done || status == ExitStatus::interrupted) {
        return status;
    }
    return ExitStatus::usage;  // dpkg-deb knows no other status
}

}  // namespace bex::tool

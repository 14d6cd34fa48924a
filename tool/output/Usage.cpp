#include "output/Usage.hpp"

#include <algorithm>

#include "arguments/Verbatim.hpp"
#include "bex/stream/Escape.hpp"
#include "bex/stream/Nearest.hpp"
#include "output/Failure.hpp"

namespace bex::tool {

namespace {

bool hasVerbs(const CLI::App& app) {
    return !app.get_subcommands(nullptr).empty();
}

/// Whether a verb is what comes next, or an action of another program's, in whose place this one stands.
bool wantsVerb(const CLI::App& app) {
    return app.get_parent() == nullptr || hasVerbs(app);
}

/// The app as it is called: "bex repo scan".
std::string callOf(const CLI::App& app) {
    if (app.get_parent() == nullptr) {
        return app.get_name();
    }
    return callOf(*app.get_parent()) + " " + app.get_name();
}

/// Verbs and long options that the program, or the chosen verb, knows.
std::vector<std::string> knownWords(const CLI::App& program) {
    std::vector<std::string> words;
    for (const CLI::App* verb : chosenApp(program).get_subcommands(nullptr)) {
        words.push_back(verb->get_name());
    }
    // The program's own options may follow the verb, so that both are offered.
    for (const CLI::App* app : {&program, &chosenApp(program)}) {
        for (const CLI::Option* option : app->get_options()) {
            for (const auto& name : option->get_lnames()) {
                words.push_back("--" + name);
            }
        }
    }
    return words;
}

std::string hintFor(const CLI::App& program, const std::string& word) {
    const CLI::App& app = chosenApp(program);
    // Only a strange verb or a long option can be a slip of the finger; files may have any name.
    if (wantsVerb(app) || word.rfind("--", 0) == 0) {
        if (const std::string meant = stream::nearest(word, knownWords(program)); !meant.empty()) {
            return "did you mean " + meant + "?";
        }
    }
    if (wantsVerb(app)) {
        return callOf(app) + " --help lists verbs and options";
    }
    return callOf(app) + " --help lists the arguments";
}

/// "--NAME" of "--NAME=VALUE"; anything else as it is.
std::string optionName(const std::string& argument) {
    if (argument.rfind("--", 0) != 0) {
        return argument;
    }
    return argument.substr(0, argument.find('='));
}

/// The first argument that the parser could not use: an unknown option, what stands in the verb's place, or one
/// too many. "" when there is none.
std::string strangeWord(const CLI::App& program) {
    // With those of the chosen verb ("true"): what is left over there is strange too.
    const std::vector<std::string> rest = program.remaining(true);
    if (rest.empty()) {
        return "";
    }
    return optionName(withoutMark(rest.front()));
}

/// What is wrong with it.
std::string strangeText(const std::string& word, bool verbMissing) {
    if (word[0] == '-') {
        return word + ": no such option";
    }
    if (verbMissing) {
        return word + ": no such verb";
    }
    return word + ": one argument too many";
}

/// The first argument of the verb that has to be given and is not.
std::string missingArgument(const CLI::App& program) {
    for (const CLI::Option* option : chosenApp(program).get_options()) {
        // In the order in which they were added, which is that of the usage line.
        if (option->get_required() && option->count() == 0) {
            return option->get_name();
        }
    }
    return "an argument";
}

/// What is wrong in words of ours, where the parser's own would puzzle.
std::string usageText(const CLI::App& program, const CLI::ParseError& error, const std::string& strange,
                      const std::vector<std::string>& arguments) {
    const bool verbMissing = hasVerbs(chosenApp(program));
    const bool surplus = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
    const bool missing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    // The parser complains of the first thing it misses; a strange word is more likely what went wrong.
    if (!strange.empty() && (verbMissing || surplus || (missing && strange[0] == '-'))) {
        return strangeText(strange, verbMissing);
    }
    if (missing && verbMissing) {
        return "a verb is missing";
    }
    if (missing) {
        return missingArgument(program) + " is missing";
    }
    // An option takes the next argument for its value, whatever that is. So only the last one can lack it.
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr && !arguments.empty()) {
        return optionName(arguments.back()) + ": its value is missing";
    }
    return error.what();
}

}  // namespace

const CLI::App& chosenApp(const CLI::App& program) {
    const auto chosen = program.get_subcommands();
    if (chosen.empty()) {
        return program;
    }
    return chosenApp(*chosen.front());
}

ExitStatus reportUsage(const CLI::App& program, const CLI::ParseError& error,
                       const std::vector<std::string>& arguments, Context& context) {
    // The arguments were not understood to their end, so the option may not have been seen.
    context.json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    const std::string strange = strangeWord(program);
    const std::string text = usageText(program, error, strange, arguments);
    print({ExitStatus::usage, "usage", stream::escapeForDisplay(text), hintFor(program, strange)}, context);
    return ExitStatus::usage;
}

}  // namespace bex::tool

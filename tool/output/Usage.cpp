#include "output/Usage.hpp"

#include <algorithm>

#include "arguments/Nearest.hpp"
#include "arguments/Verbatim.hpp"
#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"

namespace bex::tool {

namespace {

/// Verbs and long options that the program, or the chosen verb, knows.
std::vector<std::string> knownWords(const CLI::App& program) {
    std::vector<std::string> words;
    for (const CLI::App* verb : program.get_subcommands(nullptr)) {
        words.push_back(verb->get_name());
    }
    const auto chosen = program.get_subcommands();
    for (const CLI::App* app : {&program, chosen.empty() ? &program : chosen.front()}) {
        for (const CLI::Option* option : app->get_options()) {
            for (const auto& name : option->get_lnames()) {
                words.push_back("--" + name);
            }
        }
    }
    return words;
}

std::string hintFor(const CLI::App& program, const std::string& word) {
    const auto verbs = program.get_subcommands();
    const bool mayBeKnown = verbs.empty() || word.rfind("--", 0) == 0;
    const std::string meant = mayBeKnown ? nearest(word, knownWords(program)) : "";
    if (!meant.empty()) {
        return "did you mean " + meant + "?";
    }
    return verbs.empty() ? "bex --help lists verbs and options"
                         : "bex " + verbs.front()->get_name() + " --help lists the arguments";
}

/// The first argument that the parser could not use: an unknown option, what stands in the verb's place, or one
/// too many. "" when there is none.
std::string strangeWord(const CLI::App& program) {
    const std::vector<std::string> rest = program.remaining(true);
    const std::string word = rest.empty() ? "" : withoutMark(rest.front());
    return word.rfind("--", 0) == 0 ? word.substr(0, word.find('=')) : word;
}

/// What is wrong with it.
std::string strangeText(const std::string& word, bool verbMissing) {
    if (word[0] == '-') {
        return word + ": no such option";
    }
    return word + (verbMissing ? ": no such verb" : ": one argument too many");
}

std::string withoutTail(const std::string& text, const char* tail) {
    return text.substr(0, text.find(tail));
}

/// What is wrong in words of ours, where the parser's own would puzzle.
std::string usageText(const CLI::App& program, const CLI::ParseError& error, const std::string& strange) {
    const std::string text = error.what();
    const bool hasVerbs = !program.get_subcommands(nullptr).empty();
    const bool verbMissing = hasVerbs && program.get_subcommands().empty();
    const bool surplus = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
    const bool missing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    if (!strange.empty() && (verbMissing || surplus || (missing && strange[0] == '-'))) {
        return strangeText(strange, verbMissing);
    }
    if (missing) {
        return verbMissing ? "a verb is missing" : withoutTail(text, " ") + " is missing";
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
        return withoutTail(text, ": ") + ": its value is missing";
    }
    return text;
}

}  // namespace

ExitStatus reportUsage(const CLI::App& program, const CLI::ParseError& error,
                       const std::vector<std::string>& arguments, Context& context) {
    // The arguments were not understood to their end, so the option may not have been seen.
    context.json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    const std::string strange = strangeWord(program);
    print({ExitStatus::usage, "usage", stream::escapeForDisplay(usageText(program, error, strange)),
           hintFor(program, strange)},
          context);
    return ExitStatus::usage;
}

}  // namespace bex::tool

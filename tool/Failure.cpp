#include "Failure.hpp"

#include <algorithm>
#include <filesystem>

#include "Interrupt.hpp"
#include "Json.hpp"
#include "LimitOption.hpp"
#include "Nearest.hpp"
#include "bex/stream/Escape.hpp"

namespace bex::tool {

using stream::ErrorKind;

namespace {

/// One failure as it is told to people or programs.
struct Report {
    ExitStatus status;
    std::string kind;
    std::string message;
    std::string hint;
};

void print(const Report& report, Context& context) {
    if (!context.json) {
        context.console.error(report.message);
        if (!report.hint.empty()) {
            context.console.note("hint: " + report.hint);
        }
        return;
    }
    Json error = {{"kind", report.kind}, {"status", static_cast<int>(report.status)}};
    putText(error, "message", report.message);
    if (!report.hint.empty()) {
        error["hint"] = report.hint;
    }
    const Json object = {{"schema", 1}, {"error", error}};
    context.console.rawError(jsonText(object));
}

std::string hintFor(const stream::StreamError& failure) {
    const std::string& message = failure.getMessage();
    if (failure.kind() == ErrorKind::invalidInput && message.find("is missing") != std::string::npos) {
        return "fields come from TREE/DEBIAN/control, --control FILE, or options such as --name and --version";
    }
    return failure.kind() == ErrorKind::limitExceeded ? limitHint(message) : "";
}

Report reportOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const stream::StreamError& e) {
        return {statusOf(e.kind()), nameOf(e.kind()), e.getMessage(), hintFor(e)};
    } catch (const UsageError& e) {
        return {ExitStatus::usage, "usage", e.what(), ""};
    } catch (const BexException& e) {
        return {ExitStatus::inputOutput, "input-output", e.getMessage(), ""};
    } catch (const std::filesystem::filesystem_error& e) {
        return {ExitStatus::inputOutput, "input-output",
                stream::escapeForDisplay(e.path1().string()) + ": " + e.code().message(), ""};
    } catch (const std::bad_alloc&) {
        return {ExitStatus::inputOutput, "input-output", "out of memory", ""};
    } catch (const std::exception& e) {
        return {ExitStatus::inputOutput, "input-output", e.what(), ""};
    }
}

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
    const bool wordOfOurs = verbs.empty() || word.rfind("--", 0) == 0;
    const std::string meant = wordOfOurs ? nearest(word, knownWords(program)) : "";
    if (!meant.empty()) {
        return "did you mean " + meant + "?";
    }
    return verbs.empty() ? "bex --help lists verbs and options"
                         : "bex " + verbs.front()->get_name() + " --help lists the arguments";
}

/// The first argument that the program makes nothing of: an option, what stands in the verb's place, or one too
/// many.
/// "" when there is none.
std::string strangeWord(const CLI::App& program, const std::vector<std::string>& arguments) {
    const std::vector<std::string> words = knownWords(program);
    for (const auto& argument : arguments) {
        const std::string word = argument.substr(0, argument.find('='));
        const bool isOption = word.rfind("--", 0) == 0 && word.size() > 2;
        const bool isVerb = argument.rfind('-', 0) != 0 && program.get_subcommands().empty();
        if ((isOption || isVerb) && std::find(words.begin(), words.end(), word) == words.end()) {
            return word;
        }
    }
    const std::vector<std::string> rest = program.remaining(true);
    return rest.empty() ? "" : rest.front();
}

std::string withoutTail(const std::string& text, const char* tail) {
    return text.substr(0, text.find(tail));
}

/// What is wrong in words of ours, where the parser's own would puzzle.
std::string usageText(const CLI::App& program, const CLI::ParseError& error, const std::string& strange) {
    const std::string text = error.what();
    const bool verbMissing = program.get_subcommands().empty();
    const bool surplus = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
    const bool missing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    if (!strange.empty() && (verbMissing || surplus || (missing && strange[0] == '-'))) {
        return strange + (strange[0] == '-' ? ": no such option"
                          : verbMissing     ? ": no such verb"
                                            : ": one argument too many");
    }
    if (missing) {
        return verbMissing ? "a verb is missing" : withoutTail(text, " ") + " is missing";
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
        return withoutTail(text, ": ") + ": its value is missing";
    }
    const std::string conversion = "Could not convert: ";
    if (text.rfind(conversion, 0) == 0) {
        return withoutTail(text.substr(conversion.size()), " = ") + " takes a number that it can use, not" +
               text.substr(text.rfind(" = ") + 2);
    }
    return text;
}

}  // namespace

ExitStatus answerNo(const std::string& message, const std::string& hint, Context& context) {
    if (context.json) {
        print({ExitStatus::no, "no-match", message, hint}, context);
    } else {
        context.console.note(message);
        if (!hint.empty()) {
            context.console.note("hint: " + hint);
        }
    }
    return ExitStatus::no;
}

ExitStatus reportFailure(const std::exception_ptr& failure, Context& context) {
    Report report = reportOf(failure);
    // Whatever broke after the signal broke because of it: reads end, writes are cut short.
    if (interrupted()) {
        report = {ExitStatus::interrupted, nameOf(ErrorKind::cancelled), "interrupted", ""};
    }
    print(report, context);
    return report.status;
}

ExitStatus reportUsage(const CLI::App& program, const CLI::ParseError& error,
                       const std::vector<std::string>& arguments, Context& context) {
    // The arguments were not understood to their end, so the option may not have been seen.
    context.json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    const std::string strange = strangeWord(program, arguments);
    print({ExitStatus::usage, "usage", stream::escapeForDisplay(usageText(program, error, strange)),
           hintFor(program, strange)},
          context);
    return ExitStatus::usage;
}

ExitStatus forEachPackage(const std::vector<std::string>& packages, Context& context,
                          const std::function<ExitStatus(const std::string&)>& work) {
    ExitStatus status = ExitStatus::done;
    for (const auto& package : packages) {
        try {
            status = std::max(status, work(package));
        } catch (const stream::StreamError& e) {
            if (e.kind() == ErrorKind::cancelled) {
                throw;
            }
            context.console.flush();
            status = std::max(status, reportFailure(std::current_exception(), context));
        }
    }
    return status;
}

}  // namespace bex::tool

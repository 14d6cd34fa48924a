#include "Failure.hpp"

#include <algorithm>
#include <numeric>

#include "Json.hpp"
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
    context.console.rawError(object.dump(2) + "\n");
}

std::string hintFor(ErrorKind kind) {
    return kind == ErrorKind::limitExceeded ? "--limit NAME=VALUE raises a limit; bex(1) lists them" : "";
}

Report reportOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const stream::StreamError& e) {
        return {statusOf(e.kind()), nameOf(e.kind()), e.getMessage(), hintFor(e.kind())};
    } catch (const UsageError& e) {
        return {ExitStatus::usage, "usage", e.what(), ""};
    } catch (const BexException& e) {
        return {ExitStatus::inputOutput, "input-output", e.getMessage(), ""};
    } catch (const std::bad_alloc&) {
        return {ExitStatus::inputOutput, "input-output", "out of memory", ""};
    } catch (const std::exception& e) {
        return {ExitStatus::inputOutput, "input-output", e.what(), ""};
    }
}

/// Edits (insert, delete, replace one character) that turn one word into the other.
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

/// The known word nearest to the given one, or "" when none is near.
std::string nearest(const std::string& word, const std::vector<std::string>& known) {
    const auto best = std::min_element(known.begin(), known.end(), [&](const auto& a, const auto& b) {
        return distance(word, a) < distance(word, b);
    });
    return best != known.end() && distance(word, *best) <= 2 ? *best : "";
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

std::string hintFor(const CLI::App& program, const std::vector<std::string>& arguments) {
    const std::vector<std::string> words = knownWords(program);
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string word = arguments[i].substr(0, arguments[i].find('='));
        const bool mayBeVerb = i == 0 || word.rfind("--", 0) == 0;
        if (!mayBeVerb || std::find(words.begin(), words.end(), word) != words.end()) {
            continue;
        }
        const std::string meant = nearest(word, words);
        if (!meant.empty()) {
            return "did you mean " + meant + "?";
        }
    }
    return "bex --help lists the verbs, bex VERB --help the options of one";
}

}  // namespace

ExitStatus reportFailure(const std::exception_ptr& failure, Context& context) {
    const Report report = reportOf(failure);
    print(report, context);
    return report.status;
}

ExitStatus reportUsage(const CLI::App& program, const CLI::ParseError& error,
                       const std::vector<std::string>& arguments, Context& context) {
    // The arguments were not understood to their end, so the option may not have been seen.
    context.json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    print({ExitStatus::usage, "usage", stream::escapeForDisplay(error.what()), hintFor(program, arguments)},
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

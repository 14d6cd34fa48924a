#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "arguments/Number.hpp"
#include "bex/repo/Repository.hpp"
#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "stream/base/Text.hpp"
#include "verbs/SharedLibrary.hpp"
#include "verbs/Verb.hpp"
#include "verbs/repo/RepoVerbs.hpp"

namespace bex::tool {

namespace {

struct PublishArguments {
    std::string root;
    repo::PublishOptions options;
};

std::vector<stream::Compression> compressionsOf(const std::vector<std::string>& words) {
    using stream::Compression;
    std::vector<Compression> chosen;
    for (const std::string& word : words) {
        if (word == "gz") {
            chosen.push_back(Compression::gzip);
        } else if (word == "xz") {
            chosen.push_back(Compression::xz);
        } else if (word == "zst") {
            chosen.push_back(Compression::zstd);
        } else if (word == "none") {
            chosen.push_back(Compression::none);
        } else {
            throw CLI::ValidationError("--compress " + word, "takes some of gz, xz, zst, none");
        }
    }
    return chosen;
}

/// "14d", "36h", "90m" or "3600s".
std::chrono::seconds durationOf(const std::string& text) {
    constexpr struct {
        char unit;
        std::int64_t seconds;
    } units[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}};
    // 32 bits: times the seconds of a day it still fits the 64 of a duration.
    const auto count = stream::parseWhole<std::uint32_t>(text.substr(0, text.empty() ? 0 : text.size() - 1));
    for (const auto& unit : units) {
        if (count && *count > 0 && text.back() == unit.unit) {
            return std::chrono::seconds(*count * unit.seconds);
        }
    }
    throw CLI::ValidationError(text, "is not a time such as 14d, 36h, 90m or 60s");
}

void printPaths(const char* word, const std::vector<std::string>& paths, Context& context) {
    for (const std::string& path : paths) {
        context.console.out(std::string(word) + " " + stream::escapeForDisplay(path) + "\n");
    }
}

Json jsonOf(const std::vector<std::string>& paths) {
    Json list = Json::array();
    for (const std::string& path : paths) {
        list.push_back(stream::escapeForDisplay(path));
    }
    return list;
}

ExitStatus runPublish(PublishArguments& arguments, Context& context) {
    repo::PublishOptions& options = arguments.options;
    // Checked here and not by the library: the message names options of the command.
    if (options.unsignedAgain && !options.key.empty()) {
        throw UsageError("--sign and --unsigned exclude each other");
    }
    if (!options.signer.empty() && options.key.empty()) {
        throw UsageError("--signer needs the key: --sign KEY");
    }
    options.threads = context.threads;
    repo::PublishResult result;
    functionOf<decltype(bexRepoPublish)>(kRepoLibrary, "bexRepoPublish")(arguments.root, options, result);
    // The same document for --plan, so that a script reads what would happen as it reads what did.
    if (context.json) {
        context.console.out(
            jsonText({{"schema", 1}, {"written", jsonOf(result.written)}, {"removed", jsonOf(result.removed)}}));
        return ExitStatus::done;
    }
    printPaths("written", result.written, context);
    printPaths("removed", result.removed, context);
    if (result.written.empty() && context.verbosity > 0) {
        context.console.note("nothing to publish");
    }
    return ExitStatus::done;
}

void addSigning(CLI::App& verb, repo::PublishOptions& options) {
    verb.add_option("--sign", options.key, "Sign with this key")->option_text("KEY");
    verb.add_option("--signer", options.signer, "Sign with this Stateless OpenPGP tool (gpg)")
        ->option_text("COMMAND");
    verb.add_option_function<std::string>(
            "--signer-timeout", [&options](const std::string& text) { options.signerTimeout = durationOf(text); },
            "Time limit for signing (300s)")
        ->option_text("TIME");
    verb.add_flag("--unsigned", options.unsignedAgain, "Remove the signatures");
}

}  // namespace

void addRepoPublish(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<PublishArguments>();
    repo::PublishOptions& options = arguments->options;
    verb->add_option("REPO", arguments->root, "The repository's directory")->required();
    verb->add_option("--suite", options.suite, "Publish only this suite (all)")->option_text("NAME");
    addSigning(*verb, options);
    verb->add_option_function<std::vector<std::string>>(
            "--compress",
            [arguments](const std::vector<std::string>& words) {
                arguments->options.compressions = compressionsOf(words);
            },
            "Packages as gz, xz, zst, none (gz,zst)")
        ->option_text("KIND,...")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    verb->add_flag("--contents", options.contents, "Also write Contents indexes");
    verb->add_option_function<std::string>(
            "--valid-until",
            [arguments](const std::string& text) { arguments->options.validFor = durationOf(text); },
            "How long clients may trust it (no limit)")
        ->option_text("TIME");
    addNumber<std::int64_t>(*verb, "--date", "The date, in seconds since 1970 (now)",
                            [arguments](std::int64_t date) { arguments->options.date = date; });
    addNumber<unsigned>(*verb, "--keep-generations", "How many generations to keep (3)",
                        [arguments](unsigned count) { arguments->options.keepGenerations = count; });
    verb->add_flag("--html", options.html, "Also write HTML pages for people");
    verb->add_option("--url", options.url, "Address of the repository, for the pages")->option_text("URL");
    verb->add_flag("--plan", options.planOnly, "Only print what would change");
    verb->footer("Example: bex repo publish /srv/apt --sign 0123456789ABCDEF");
    onChosen(*verb, arguments, chosen, runPublish);
}

}  // namespace bex::tool

#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "output/ProgressBar.hpp"
#include "stream/base/Text.hpp"
#include "verbs/SharedLibrary.hpp"
#include "verbs/Verb.hpp"
#include "verbs/repo/RepoVerbs.hpp"
#include "verbs/repo/ScanOutput.hpp"

namespace bex::tool {

namespace {

struct ScanArguments {
    repo::ScanOptions scan;
    std::vector<std::string> hashes;
    std::string type;
    ScanOutput output;
};

/// "md5,sha1" or several options: the digests beside SHA-256.
void addHash(const std::string& word, repo::DigestChoice& digests) {
    if (word == "md5") {
        digests.md5 = true;
    } else if (word == "sha1") {
        digests.sha1 = true;
    } else if (word == "sha512") {
        digests.sha512 = true;
    } else if (word != "sha256") {
        throw CLI::ValidationError("--hash " + word, "takes some of md5, sha1, sha256, sha512");
    }
}

/// "-" stands for the names on standard input: one a line or, where there is a NUL, one before each NUL.
void takeNamesFromInput(std::vector<std::string>& inputs) {
    const auto place = std::find(inputs.begin(), inputs.end(), "-");
    if (place == inputs.end()) {
        return;
    }
    // Before the names are added, one of which may be "-", too.
    inputs.erase(place);
    const std::string text{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
    const char end = text.find('\0') != std::string::npos ? '\0' : '\n';
    stream::forEachPart(text, end, [&inputs](std::string_view name) {
        if (!name.empty()) {
            inputs.emplace_back(name);
        }
    });
}

ExitStatus runScan(ScanArguments& arguments, Context& context) {
    repo::ScanOptions& options = arguments.scan;
    if (!arguments.type.empty()) {
        options.suffixes = {"." + arguments.type};
    }
    takeNamesFromInput(options.inputs);
    options.threads = context.threads;
    options.limits = context.limits;
    repo::ScanReport report;
    {
        // Ends before anything is printed: the bar and the index may share a terminal.
        ProgressBar progress(context, "scanning");
        options.progress = progress.callback();
        functionOf<decltype(bexScan)>(kRepoLibrary, "bexScan")(options, report);
    }
    if (context.verbosity > 0) {
        context.console.note(std::to_string(report.records.size()) + " packages, " +
                             std::to_string(report.fromCache) + " from the cache");
    }
    return printRecords(report, arguments.output, options.digests, options.keepGoing, context);
}

}  // namespace

void addRepoScan(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<ScanArguments>();
    repo::ScanOptions& options = arguments->scan;
    verb->add_option("DIR|FILE", options.inputs, "Packages, and directories with *.deb and *.bex; - reads names")
        ->required();
    verb->add_option("--cache", options.cache, "Keep results in this file for the next scan")->option_text("FILE");
    addScanOutput(*verb, arguments->output);
    verb->add_option_function<std::vector<std::string>>(
            "--hash",
            [arguments](const std::vector<std::string>& words) {
                for (const std::string& word : words) {
                    addHash(word, arguments->scan.digests);
                }
            },
            "Digests beside SHA-256: md5, sha1, sha512")
        ->option_text("NAME,...")
        ->delimiter(',')
        // Otherwise the option would take the directories after it for digests.
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    verb->add_option("--root", options.root, "The directory to which names are relative")->option_text("DIR");
    verb->add_option("-t,--type", arguments->type, "Take *.TYPE in directories")->option_text("TYPE");
    verb->add_flag("-k,--keep-going", options.keepGoing, "Skip packages with errors and print the others");
    verb->footer("Example: bex repo scan --cache scan.cache pool >Packages");
    onChosen(*verb, arguments, chosen, runScan);
}

}  // namespace bex::tool

#include <memory>
#include <string>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "verbs/SharedLibrary.hpp"
#include "verbs/Verb.hpp"
#include "verbs/repo/PackageLines.hpp"
#include "verbs/repo/RepoVerbs.hpp"
#include "verbs/repo/ScanOutput.hpp"

namespace bex::tool {

namespace {

struct MergeArguments {
    std::vector<std::string> shards;
    ScanOutput output;
    std::string root;
    repo::AddOptions options;
};

/// Adds the packages of the shards to a repository whose pool has them.
void addToRepository(const MergeArguments& arguments, const repo::ScanReport& report, Context& context) {
    repo::AddResult result;
    functionOf<decltype(bexRepoAddScanned)>(kRepoLibrary, "bexRepoAddScanned")(arguments.root, report.records,
                                                                               arguments.options, result);
    printAddition(result, context);
}

ExitStatus runMerge(MergeArguments& arguments, Context& context) {
    repo::DigestChoice digests;
    repo::ScanReport report;
    functionOf<decltype(bexMergeShards)>(kRepoLibrary, "bexMergeShards")(arguments.shards, digests, report);
    if (!arguments.root.empty() && report.errors.empty()) {
        addToRepository(arguments, report, context);
        return ExitStatus::done;
    }
    return printRecords(report, arguments.output, digests, false, context);
}

}  // namespace

void addRepoMerge(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<MergeArguments>();
    verb->add_option("SHARD", arguments->shards, "Output of scan --records; - is standard input")->required();
    addScanOutput(*verb, arguments->output);
    verb->add_option("-o,--out", arguments->root, "Add the packages to this repository, whose pool has them")
        ->option_text("REPO");
    verb->add_option("--suite", arguments->options.suite, "Its suite, where there are several")
        ->option_text("NAME");
    verb->add_option("--component", arguments->options.component, "Its component (the suite's first)")
        ->option_text("NAME");
    verb->footer(
        "Example: bex repo merge shards/* >Packages\n"
        "Example: bex repo merge shards/* -o /srv/apt");
    onChosen(*verb, arguments, chosen, runMerge);
}

}  // namespace bex::tool

#include <memory>
#include <string>
#include <vector>

#include "verbs/SharedLibrary.hpp"
#include "verbs/Verb.hpp"
#include "verbs/repo/RepoVerbs.hpp"
#include "verbs/repo/ScanOutput.hpp"

namespace bex::tool {

namespace {

struct MergeArguments {
    std::vector<std::string> shards;
    ScanOutput output;
};

ExitStatus runMerge(MergeArguments& arguments, Context& context) {
    repo::DigestChoice digests;
    repo::ScanReport report;
    functionOf<decltype(bexMergeShards)>(kRepoLibrary, "bexMergeShards")(arguments.shards, digests, report);
    return printRecords(report, arguments.output, digests, false, context);
}

}  // namespace

void addRepoMerge(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<MergeArguments>();
    verb->add_option("SHARD", arguments->shards, "What scan --records printed; - is standard input")->required();
    addScanOutput(*verb, arguments->output);
    verb->footer("Example: bex repo merge shards/* >Packages");
    onChosen(*verb, arguments, chosen, runMerge);
}

}  // namespace bex::tool

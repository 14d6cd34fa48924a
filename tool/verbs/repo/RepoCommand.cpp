#include "verbs/Commands.hpp"
#include "verbs/repo/RepoVerbs.hpp"

namespace bex::tool {

namespace {

constexpr Command kRepoVerbs[] = {
    {"scan", "Print the index of packages, or a shard of it", addRepoScan},
    {"merge", "Join shards into the index that one scan prints", addRepoMerge},
    {"init", "Make a repository, or a suite in it", addRepoInit},
    {"add", "Verify packages and add them to the pool", addRepoAdd},
    {"list", "List the packages of a repository", addRepoList},
    {"remove", "Remove packages from a suite", addRepoRemove},
    {"promote", "Add packages of one suite to another", addRepoPromote},
    {"publish", "Write and sign the indexes for clients", addRepoPublish},
    {"verify", "Check a repository, here or on a web server", addRepoVerify},
};

}  // namespace

void addRepo(CLI::App* verb, Action& chosen) {
    for (const Command& command : kRepoVerbs) {
        addVerb(*verb, command, chosen);
    }
    verb->require_subcommand(1);
    verb->footer("Run bex repo VERB --help for details.\nExample: bex repo scan pool >Packages");
}

}  // namespace bex::tool

#include <memory>
#include <string>
#include <vector>

#include "arguments/FindingCodes.hpp"
#include "arguments/Number.hpp"
#include "bex/repo/Repository.hpp"
#include "verbs/Input.hpp"
#include "verbs/SharedLibrary.hpp"
#include "verbs/Verb.hpp"
#include "verbs/repo/PackageLines.hpp"
#include "verbs/repo/RepoVerbs.hpp"

namespace bex::tool {

namespace {

struct AddArguments {
    std::string root;
    std::vector<std::string> packages;
    repo::AddOptions options;
};

ExitStatus runAdd(AddArguments& arguments, Context& context) {
    arguments.options.reading = readOptions(context);
    repo::AddResult result;
    functionOf<decltype(bexRepoAdd)>(kRepoLibrary, "bexRepoAdd")(arguments.root, arguments.packages,
                                                                 arguments.options, result);
    printAddition(result, context);
    return ExitStatus::done;
}

void addPlacement(CLI::App& verb, const char* name, const char* description, repo::Placement placement,
                  const std::shared_ptr<AddArguments>& arguments) {
    verb.add_flag_callback(
            name, [arguments, placement] { arguments->options.placement = placement; }, description)
        ->group("Copy into the pool (the default), hard-link or move");
}

}  // namespace

void addRepoAdd(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<AddArguments>();
    repo::AddOptions& options = arguments->options;
    verb->add_option("REPO", arguments->root, "The repository's directory")->required();
    verb->add_option("PKG", arguments->packages, "The packages to add: all of them, or none")->required();
    verb->add_option("--suite", options.suite, "The suite, if there are several")->option_text("NAME");
    verb->add_option("--component", options.component, "The component (the suite's first)")->option_text("NAME");
    addPlacement(*verb, "--copy", "Copy files into the pool", repo::Placement::copy, arguments);
    addPlacement(*verb, "--link", "Make hard links where that is possible", repo::Placement::link, arguments);
    addPlacement(*verb, "--move", "Move files into the pool", repo::Placement::move, arguments);
    addNumber<std::size_t>(*verb, "--keep", "Remove all but the newest N versions",
                           [arguments](std::size_t keep) { arguments->options.keep = keep; });
    addFindingCodes(*verb, "--allow", "Accept errors with this code; repeatable", options.allow);
    verb->footer(
        "Packages are verified first. Clients see them after bex repo publish.\n\n"
        "Example: bex repo add /srv/apt hello_1.0_amd64.deb");
    onChosen(*verb, arguments, chosen, runAdd);
}

}  // namespace bex::tool

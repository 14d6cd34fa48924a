#include <memory>
#include <string>
#include <vector>

#include "arguments/Number.hpp"
#include "bex/repo/Repository.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "verbs/SharedLibrary.hpp"
#include "verbs/Verb.hpp"
#include "verbs/repo/PackageLines.hpp"
#include "verbs/repo/RepoVerbs.hpp"

namespace bex::tool {

namespace {

struct SelectArguments {
    std::string root;
    repo::Query query;
    std::size_t keep = 0;
    std::string to;
};

constexpr const char* kQueryHelp = "NAME, a pattern, NAME:ARCH or 'NAME (<< VERSION)'";

void show(const char* word, const std::vector<repo::PackageId>& packages, Context& context) {
    if (context.json) {
        context.console.out(jsonText({{"schema", 1}, {"packages", jsonOf(packages)}}));
    } else {
        printPackages(word, packages, context);
    }
}

ExitStatus runList(SelectArguments& arguments, Context& context) {
    std::vector<repo::PackageId> found;
    functionOf<decltype(bexRepoList)>(kRepoLibrary, "bexRepoList")(arguments.root, arguments.query, found);
    show("", found, context);
    // An empty repository is no failure; a name that fits nothing is, so that a script can ask for one.
    if (found.empty() && !arguments.query.packages.empty()) {
        return ExitStatus::no;
    }
    return ExitStatus::done;
}

ExitStatus runRemove(SelectArguments& arguments, Context& context) {
    // Without either, every package would go.
    if (arguments.query.packages.empty() && arguments.keep == 0) {
        throw UsageError("name packages, or --keep N");
    }
    std::vector<repo::PackageId> removed;
    functionOf<decltype(bexRepoRemove)>(kRepoLibrary, "bexRepoRemove")(arguments.root, arguments.query,
                                                                       arguments.keep, removed);
    show("removed", removed, context);
    return ExitStatus::done;
}

ExitStatus runPromote(SelectArguments& arguments, Context& context) {
    std::vector<repo::PackageId> promoted;
    functionOf<decltype(bexRepoPromote)>(kRepoLibrary, "bexRepoPromote")(arguments.root, arguments.query,
                                                                         arguments.to, promoted);
    show("added", promoted, context);
    return ExitStatus::done;
}

std::shared_ptr<SelectArguments> addSelection(CLI::App& verb) {
    auto arguments = std::make_shared<SelectArguments>();
    verb.add_option("REPO", arguments->root, "The repository's directory")->required();
    verb.add_option("QUERY", arguments->query.packages, kQueryHelp);
    verb.add_option("--component", arguments->query.component, "Packages of this component")->option_text("NAME");
    return arguments;
}

}  // namespace

void addRepoList(CLI::App* verb, Action& chosen) {
    const auto arguments = addSelection(*verb);
    verb->add_option("--suite", arguments->query.suite, "Packages of this suite (all)")->option_text("NAME");
    verb->footer(
        "Lists what the next bex repo publish writes: suite, component, name, version, architecture.\n\n"
        "Example: bex repo list /srv/apt 'hello (>= 1.0)'");
    onChosen(*verb, arguments, chosen, runList);
}

void addRepoRemove(CLI::App* verb, Action& chosen) {
    const auto arguments = addSelection(*verb);
    verb->add_option("--suite", arguments->query.suite, "The suite, if there are several")->option_text("NAME");
    addNumber<std::size_t>(*verb, "--keep", "Keep the newest N versions",
                           [arguments](std::size_t keep) { arguments->keep = keep; });
    verb->footer(
        "A later publication removes the files from the pool, when no client needs them any more.\n\n"
        "Example: bex repo remove /srv/apt 'hello (<< 1.0)'");
    onChosen(*verb, arguments, chosen, runRemove);
}

void addRepoPromote(CLI::App* verb, Action& chosen) {
    const auto arguments = addSelection(*verb);
    verb->get_option("QUERY")->required();
    verb->add_option("--from", arguments->query.suite, "The suite that has them")->option_text("NAME")->required();
    verb->add_option("--to", arguments->to, "The suite that gets them")->option_text("NAME")->required();
    verb->footer("Example: bex repo promote /srv/apt --from testing --to stable hello");
    onChosen(*verb, arguments, chosen, runPromote);
}

}  // namespace bex::tool

#include <memory>
#include <string>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "verbs/SharedLibrary.hpp"
#include "verbs/Verb.hpp"
#include "verbs/repo/RepoVerbs.hpp"

namespace bex::tool {

namespace {

struct InitArguments {
    std::string root;
    repo::SuiteSettings settings;
};

ExitStatus runInit(InitArguments& arguments, Context& /*context*/) {
    functionOf<decltype(bexRepoInit)>(kRepoLibrary, "bexRepoInit")(arguments.root, arguments.settings);
    return ExitStatus::done;
}

void addWords(CLI::App& verb, const char* name, const char* description, std::vector<std::string>& words) {
    verb.add_option(name, words, description)
        ->option_text("NAME,...")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

}  // namespace

void addRepoInit(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<InitArguments>();
    repo::SuiteSettings& settings = arguments->settings;
    verb->add_option("REPO", arguments->root, "The repository's directory")->required();
    verb->add_option("--suite", settings.suite, "The suite to make or change (stable)")->option_text("NAME");
    verb->add_option("--codename", settings.codename, "Its code name (as --suite)")->option_text("NAME");
    addWords(*verb, "--component", "Its components (main)", settings.components);
    addWords(*verb, "--arch", "Its architectures (this machine's)", settings.architectures);
    verb->add_option("--origin", settings.origin, "Origin, one line")->option_text("TEXT");
    verb->add_option("--label", settings.label, "Label, one line")->option_text("TEXT");
    verb->add_option("--description", settings.description, "Description, one line")->option_text("TEXT");
    verb->footer("Example: bex repo init /srv/apt --suite stable --arch amd64,arm64 --origin Example");
    onChosen(*verb, arguments, chosen, runInit);
}

}  // namespace bex::tool

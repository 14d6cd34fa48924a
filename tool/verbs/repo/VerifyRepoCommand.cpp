#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "bex/repo/Verify.hpp"
#include "stream/base/UrlPath.hpp"
#include "verbs/FindingLines.hpp"
#include "verbs/Input.hpp"
#include "verbs/SharedLibrary.hpp"
#include "verbs/Verb.hpp"
#include "verbs/repo/RepoVerbs.hpp"

namespace bex::tool {

namespace {

struct VerifyRepoArguments {
    std::string repository;
    bool strict = false;
    repo::RepositoryCheck check;
};

std::string withoutSlash(std::string url) {
    url.erase(url.find_last_not_of('/') + 1);
    return url;
}

ExitStatus runVerifyRepo(VerifyRepoArguments& arguments, Context& context) {
    std::mutex opening;
    if (isUrl(arguments.repository)) {
        const std::string base = withoutSlash(arguments.repository);
        arguments.check.open = [&context, &opening, base](const std::string& path) {
            // Packages are checked in several threads, and the context is not made for them.
            const std::lock_guard<std::mutex> lock(opening);
            const std::string url = base + "/" + stream::urlPath(path);
            std::unique_ptr<stream::ForwardSource> source = openBytes(url, context);
            // Read once: the thousands of files of a repository need not be remembered.
            context.remoteFiles.erase(url);
            return source;
        };
    }
    arguments.check.threads = context.threads;
    arguments.check.limits = context.limits;
    std::vector<stream::Finding> findings;
    functionOf<decltype(bexVerifyRepository)>(kRepoLibrary, "bexVerifyRepository")(arguments.repository,
                                                                                   arguments.check, findings);
    return printFindings(arguments.repository, findings, arguments.strict, false, context);
}

}  // namespace

void addRepoVerify(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<VerifyRepoArguments>();
    repo::RepositoryCheck& check = arguments->check;
    verb->add_option("REPO|URL", arguments->repository, "The directory, or its URL on a web server")->required();
    verb->add_option("--suite", check.suite, "Check this suite (all; stable of a URL)")->option_text("NAME");
    verb->add_option("--keyring", check.keyring, "Verify signatures with these keys")->option_text("FILE");
    verb->add_flag("--deep", check.deep, "Also verify the packages");
    verb->add_flag("--strict", arguments->strict, "Also fail for warnings");
    verb->footer(
        "Each finding is one line with a code that stays the same between versions.\n\n"
        "Example: bex repo verify /srv/apt --keyring example.gpg");
    onChosen(*verb, arguments, chosen, runVerifyRepo);
}

}  // namespace bex::tool

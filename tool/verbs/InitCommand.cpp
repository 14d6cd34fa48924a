#include <memory>
#include <string>

#include "bex/buildfile/BuildFile.hpp"
#include "verbs/SharedLibrary.hpp"
#include "verbs/TextFile.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

namespace {

struct InitArguments {
    std::string file = "nfpm.yaml";
};

ExitStatus runInit(InitArguments& arguments, Context& context) {
    std::string text;
    // Made as a whole before a file is: where the directory cannot be read, nothing is left behind.
    functionOf<decltype(bexInitialBuildFile)>("libbexbuildfile.so.1", "bexInitialBuildFile")(".", text);
    deliver({"buildFile", arguments.file, text}, writeNewFile, context);
    return ExitStatus::done;
}

}  // namespace

void addInit(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<InitArguments>();
    verb->add_option("FILE", arguments->file, "The new build file (nfpm.yaml); - is standard output");
    verb->footer("Example: bex init && bex build -f nfpm.yaml --dry-run");
    onChosen(*verb, arguments, chosen, runInit);
}

}  // namespace bex::tool

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "arguments/FindingCodes.hpp"
#include "bex/stream/Verify.hpp"
#include "output/ProgressBar.hpp"
#include "verbs/FindingLines.hpp"
#include "verbs/ForEachPackage.hpp"
#include "verbs/Input.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

using stream::Finding;

namespace {

struct VerifyArguments {
    std::vector<std::string> packages;
    bool strict = false;
    std::vector<std::string> ignored;  ///< codes
};

/// Before the status is decided: an ignored finding counts for nothing.
void dropIgnored(std::vector<Finding>& findings, const std::vector<std::string>& ignored) {
    const auto isIgnored = [&](const Finding& finding) {
        return std::find(ignored.begin(), ignored.end(), finding.code) != ignored.end();
    };
    findings.erase(std::remove_if(findings.begin(), findings.end(), isIgnored), findings.end());
}

/// A package that cannot be read at all is an error and not a finding: it is thrown.
ExitStatus verifyOne(const std::string& package, const VerifyArguments& arguments, Context& context) {
    ProgressBar progress(context, "verifying");
    stream::ReadOptions reading = readOptions(context);
    reading.progress = progress.callback();
    // All of them at once: the status and whether a closed pipe matters depend on the last one too.
    std::vector<Finding> findings = verifyPackage(package, reading, context);
    dropIgnored(findings, arguments.ignored);
    return printFindings(package, findings, arguments.strict, arguments.packages.size() > 1, context);
}

ExitStatus runVerify(VerifyArguments& arguments, Context& context) {
    return forEachPackage(arguments.packages, context,
                          [&](const std::string& package) { return verifyOne(package, arguments, context); });
}

}  // namespace

void addVerify(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<VerifyArguments>();
    verb->add_option("PKG", arguments->packages, "The packages or their URLs; - is standard input")->required();
    verb->add_flag("--strict", arguments->strict, "Also fail for warnings");
    addFindingCodes(*verb, "--ignore", "Leave findings of this code out; repeatable", arguments->ignored);
    verb->footer(
        "Each finding is one line with a code that stays the same between versions.\n\n"
        "Example: bex verify hello_1.0_amd64.bex");
    onChosen(*verb, arguments, chosen, runVerify);
}

}  // namespace bex::tool

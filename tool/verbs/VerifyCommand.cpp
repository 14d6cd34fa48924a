#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "bex/stream/Verify.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "output/ProgressBar.hpp"
#include "verbs/ForEachPackage.hpp"
#include "verbs/Input.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

using stream::Finding;

namespace {

struct VerifyArguments {
    std::vector<std::string> packages;
};

Json findingsJson(const std::string& package, const std::vector<Finding>& findings) {
    Json list = Json::array();
    for (const auto& finding : findings) {
        Json object = {{"code", finding.code}};
        putText(object, "member", finding.member);
        putText(object, "path", finding.entry);
        putText(object, "text", finding.reason);
        list.push_back(std::move(object));
    }
    Json object = {{"schema", 1}};
    putText(object, "package", package);
    object["findings"] = std::move(list);
    return object;
}

/// "PACKAGE: CODE: member or entry: text".
std::string lineOf(const std::string& package, const Finding& finding, const Console& console) {
    const std::string place = finding.entry.empty() ? finding.member : finding.entry;
    return stream::escapeForDisplay(package) + ": " + console.styled(Style::bad, finding.code) + ": " +
           (place.empty() ? "" : stream::escapeForDisplay(place) + ": ") + finding.reason + "\n";
}

/// Tells the bar how much there is to do. What can't be read here is for the verification to tell.
void expectSizeOf(const std::string& package, const stream::ReadOptions& reading, ProgressBar& progress) {
    try {
        progress.expect(openPackage(package, reading).control());
    } catch (const stream::StreamError&) {
        return;
    }
}

ExitStatus verifyOne(const std::string& package, Context& context) {
    ProgressBar progress(context, "verifying");
    stream::ReadOptions reading = readOptions(context);
    expectSizeOf(package, reading, progress);
    reading.progress = progress.callback();
    const std::vector<Finding> findings = stream::verify(package, reading);
    context.whenClosed = findings.empty() ? ExitStatus::inputOutput : ExitStatus::no;
    if (context.json) {
        context.console.out(jsonText(findingsJson(package, findings)));
    } else {
        for (const auto& finding : findings) {
            context.console.out(lineOf(package, finding, context.console));
        }
    }
    if (findings.empty() && context.verbosity > 0) {
        context.console.note(nameInMessages(package) + ": nothing wrong");
    }
    return findings.empty() ? ExitStatus::done : ExitStatus::no;
}

ExitStatus runVerify(VerifyArguments& arguments, Context& context) {
    std::for_each(arguments.packages.begin(), arguments.packages.end(), requireFile);
    return forEachPackage(arguments.packages, context,
                          [&](const std::string& package) { return verifyOne(package, context); });
}

}  // namespace

void addVerify(CLI::App& program, Action& chosen) {
    const auto arguments = std::make_shared<VerifyArguments>();
    CLI::App* verb = program.add_subcommand("verify", "Check everything and list what is wrong");
    verb->add_option("PKG", arguments->packages, "The packages")->required();
    verb->footer(
        "Each finding is one line with a code that stays the same between versions.\n\n"
        "Example: bex verify hello_1.0_amd64.bex");
    onChosen(*verb, arguments, chosen, runVerify);
}

}  // namespace bex::tool

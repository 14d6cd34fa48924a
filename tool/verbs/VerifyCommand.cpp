#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "arguments/FindingCodes.hpp"
#include "arguments/LimitOption.hpp"
#include "bex/stream/Escape.hpp"
#include "bex/stream/Verify.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "output/ProgressBar.hpp"
#include "stream/base/Text.hpp"
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

const char* nameOf(stream::Severity severity) {
    return severity == stream::Severity::error ? "error" : "warning";
}

std::string hintOf(const Finding& finding) {
    if (finding.limit.empty()) {
        return "";
    }
    return limitHint(finding.limit);
}

Json findingsJson(const std::string& package, const std::vector<Finding>& findings) {
    Json list = Json::array();
    for (const auto& finding : findings) {
        Json object = {{"code", finding.code}, {"severity", nameOf(finding.severity)}};
        putText(object, "member", finding.member);
        putText(object, "path", finding.entry);
        putText(object, "text", finding.reason);
        if (const std::string hint = hintOf(finding); !hint.empty()) {
            object["hint"] = hint;
        }
        list.push_back(std::move(object));
    }
    Json object = {{"schema", 1}};
    putText(object, "package", package);
    object["findings"] = std::move(list);
    return object;
}

/// "PACKAGE: CODE: member or entry: text", with "warning: " before the code of one.
std::string lineOf(const std::string& package, const Finding& finding, const Console& console) {
    std::string line = nameInMessages(package) + ": ";
    if (finding.severity == stream::Severity::warning) {
        line += "warning: ";
    }
    line += console.styled(Style::bad, finding.code) + ": ";
    if (const auto place = stream::orIfEmpty(finding.entry, finding.member); !place.empty()) {
        line += stream::escapeForDisplay(place) + ": ";
    }
    line += finding.reason;
    if (const std::string hint = hintOf(finding); !hint.empty()) {
        line += "; " + hint;
    }
    return line + "\n";
}

void dropIgnored(std::vector<Finding>& findings, const std::vector<std::string>& ignored) {
    const auto isIgnored = [&](const Finding& finding) {
        return std::find(ignored.begin(), ignored.end(), finding.code) != ignored.end();
    };
    findings.erase(std::remove_if(findings.begin(), findings.end(), isIgnored), findings.end());
}

ExitStatus statusOf(const std::vector<Finding>& findings, bool strict) {
    const bool bad = std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
        return strict || finding.severity == stream::Severity::error;
    });
    return bad ? ExitStatus::no : ExitStatus::done;
}

ExitStatus verifyOne(const std::string& package, const VerifyArguments& arguments, Context& context) {
    ProgressBar progress(context, "verifying");
    stream::ReadOptions reading = readOptions(context);
    reading.progress = progress.callback();
    std::vector<Finding> findings = verifyPackage(package, reading, context);
    dropIgnored(findings, arguments.ignored);
    const ExitStatus status = statusOf(findings, arguments.strict);
    context.whenClosed = status == ExitStatus::done ? ExitStatus::inputOutput : ExitStatus::no;
    if (context.json) {
        context.console.out(jsonObject(findingsJson(package, findings), arguments.packages.size() > 1));
    } else {
        for (const auto& finding : findings) {
            context.console.out(lineOf(package, finding, context.console));
        }
    }
    if (findings.empty() && context.verbosity > 0) {
        context.console.note(nameInMessages(package) + ": nothing wrong");
    }
    return status;
}

ExitStatus runVerify(VerifyArguments& arguments, Context& context) {
    return forEachPackage(arguments.packages, context,
                          [&](const std::string& package) { return verifyOne(package, arguments, context); });
}

}  // namespace

void addVerify(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<VerifyArguments>();
    verb->add_option("PKG", arguments->packages, "The packages or their URLs; - is standard input")->required();
    verb->add_flag("--strict", arguments->strict, "Fail for warnings, too");
    addFindingCodes(*verb, "--ignore", "Leave findings of this code out; repeatable", arguments->ignored);
    verb->footer(
        "Each finding is one line with a code that stays the same between versions.\n\n"
        "Example: bex verify hello_1.0_amd64.bex");
    onChosen(*verb, arguments, chosen, runVerify);
}

}  // namespace bex::tool

#include "verbs/FindingLines.hpp"

#include <algorithm>
#include <utility>

#include "arguments/LimitOption.hpp"
#include "bex/stream/Escape.hpp"
#include "output/Json.hpp"
#include "stream/base/Text.hpp"
#include "verbs/Input.hpp"

namespace bex::tool {

using stream::Finding;

namespace {

const char* nameOf(stream::Severity severity) {
    return severity == stream::Severity::error ? "error" : "warning";
}

/// Only a limit that was exceeded can be helped by an option.
std::string hintOf(const Finding& finding) {
    if (finding.limit.empty()) {
        return "";
    }
    return limitHint(finding.limit);
}

/// Member, path and text are always there; `member` and `path` are empty for what concerns the whole package.
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

/// Warnings count only with --strict.
ExitStatus statusOf(const std::vector<Finding>& findings, bool strict) {
    const bool bad = std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
        return strict || finding.severity == stream::Severity::error;
    });
    return bad ? ExitStatus::no : ExitStatus::done;
}

}  // namespace

ExitStatus printFindings(const std::string& subject, const std::vector<Finding>& findings, bool strict,
                         bool several, Context& context) {
    const ExitStatus status = statusOf(findings, strict);
    // A reader that leaves early has not seen that nothing is wrong; what is wrong stays so.
    context.whenClosed = status == ExitStatus::done ? ExitStatus::inputOutput : ExitStatus::no;
    // Both forms go to standard output: findings are the answer, not messages about it.
    if (context.json) {
        context.console.out(jsonObject(findingsJson(subject, findings), several));
    } else {
        for (const auto& finding : findings) {
            context.console.out(lineOf(subject, finding, context.console));
        }
    }
    if (findings.empty() && context.verbosity > 0) {
        context.console.note(nameInMessages(subject) + ": no findings");
    }
    return status;
}

}  // namespace bex::tool

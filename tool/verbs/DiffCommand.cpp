#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "output/Text.hpp"
#include "verbs/Difference.hpp"
#include "verbs/Patterns.hpp"
#include "verbs/TextDiff.hpp"
#include "verbs/TextSpool.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

namespace {

struct DiffArguments {
    std::string before;
    std::string after;
    std::vector<std::string> patterns;
    std::vector<std::string> excluded;
    bool content = false;
    bool brief = false;
    bool times = false;
};

/// Which entries are compared: "DEBIAN/NAME" is a control member.
class Selection {
public:
    explicit Selection(const DiffArguments& arguments)
        : chosen_(arguments.patterns), excluded_(arguments.excluded.begin(), arguments.excluded.end()) {}

    /// Asks the patterns even where the path is excluded: a pattern that matched something is not reported as
    /// unused.
    bool includes(const std::string& path) {
        const bool excluded =
            std::any_of(excluded_.begin(), excluded_.end(),
                        [&path](const stream::Pattern& pattern) { return pattern.matchesAtOrAbove(path); });
        return chosen_.choosePath(path) && !excluded;
    }

    const Patterns& chosen() const noexcept { return chosen_; }

private:
    Patterns chosen_;
    std::vector<stream::Pattern> excluded_;
};

/// Line by line, the files that are text on both sides; nothing for those that are too different.
std::optional<std::string> unifiedOf(const Difference& difference, const TextSpool& spool) {
    const auto& [before, after] = *difference.texts;
    return unifiedHunks(spool.text(before), spool.text(after));
}

/// The name by which --exclude and PATTERN would choose it.
std::string placeOf(const Difference& difference) {
    if (difference.kind == Difference::Kind::controlMember) {
        return "DEBIAN/" + difference.name;
    }
    return difference.name;
}

std::string wordOf(Difference::Kind kind) {
    switch (kind) {
        case Difference::Kind::member:
            return "member ";
        case Difference::Kind::field:
            return "field ";
        default:
            return "";
    }
}

/// One line a difference: "~ usr/bin/tool".
std::string lineOf(const Difference& difference, const Console& console) {
    static const std::map<Change, std::pair<char, Style>> marks = {{Change::added, {'+', Style::good}},
                                                                   {Change::removed, {'-', Style::bad}},
                                                                   {Change::changed, {'~', Style::name}}};
    const auto& [mark, style] = marks.at(difference.change);
    const std::string text =
        mark + (" " + wordOf(difference.kind)) + stream::escapeForDisplay(placeOf(difference));
    return console.styled(style, text) + "\n";
}

/// One indented line a detail: "    size: 17 -> 18".
std::string detailsText(const Difference& difference) {
    const std::string arrow = difference.change == Change::changed ? " -> " : "";
    std::string text;
    for (const auto& detail : difference.details) {
        const std::string before = escapedLines(detail.before, "\n      ");
        const std::string after = escapedLines(detail.after, "\n      ");
        text.append("    ").append(detail.what).append(": ");
        text.append(before).append(arrow).append(after).append("\n");
    }
    return text;
}

/// Details are left out with --brief, so that a missing list is not mistaken for an empty one.
Json jsonOf(const Difference& difference, bool brief) {
    Json object = {{"kind", nameOf(difference.kind)}, {"change", nameOf(difference.change)}};
    putText(object, "name", difference.name);
    if (brief) {
        return object;
    }
    Json details = Json::array();
    for (const auto& detail : difference.details) {
        Json item = {{"what", detail.what}};
        putText(item, "before", detail.before);
        putText(item, "after", detail.after);
        details.push_back(std::move(item));
    }
    object["details"] = std::move(details);
    return object;
}

/// What --content adds to an object or a line.
/// unifiedHunks() gives up then: its time grows with the product of lengths and differences.
constexpr const char* kTooDifferent = "too different to compare line by line";

void printJson(const DiffArguments& arguments, const Comparison& comparison, const TextSpool* spool,
               Console& console) {
    Json list = Json::array();
    for (const auto& difference : comparison.differences) {
        Json item = jsonOf(difference, arguments.brief);
        if (spool != nullptr && difference.texts) {
            const auto unified = unifiedOf(difference, *spool);
            item[unified ? "unified" : "notUnified"] = unified.value_or(kTooDifferent);
        }
        list.push_back(std::move(item));
    }
    Json object = {{"schema", 1}};
    putText(object, "before", arguments.before);
    putText(object, "after", arguments.after);
    object["differences"] = std::move(list);
    object["timesAlone"] = comparison.timesAlone;
    console.out(jsonText(object));
}

/// The names of both sides begin with a/ and b/, as patch(1) -p1 takes them.
void printUnified(const Difference& difference, const TextSpool& spool, Console& console) {
    const std::string path = stream::escapeForDisplay(placeOf(difference));
    const auto unified = unifiedOf(difference, spool);
    console.out(unified ? "--- a/" + path + "\n+++ b/" + path + "\n" + *unified
                        : std::string("    ") + kTooDifferent + "\n");
}

void printText(const DiffArguments& arguments, const Comparison& comparison, const TextSpool* spool,
               Console& console) {
    for (const auto& difference : comparison.differences) {
        console.out(lineOf(difference, console));
        if (!arguments.brief) {
            console.out(detailsText(difference));
        }
        if (spool != nullptr && difference.texts) {
            printUnified(difference, *spool, console);
        }
    }
    if (comparison.timesAlone > 0) {
        console.out("different only in time, not shown without --times: " + std::to_string(comparison.timesAlone) +
                    "\n");
    }
}

Comparison compareAs(const DiffArguments& arguments, TextSpool* spool, Selection& selection, Context& context) {
    // One package after the other: only digests and the texts' places are in memory, whatever the packages' size.
    DigestRequest request;
    request.select = [&selection](const std::string& path) { return selection.includes(path); };
    request.spool = spool;
    const PackageDigest before = digestOf(arguments.before, request, context);
    request.other = &before;
    const PackageDigest after = digestOf(arguments.after, request, context);
    ComparisonRequest comparison;
    // Patterns name entries; members of the ar archive are compared only where everything is.
    comparison.members = arguments.patterns.empty();
    comparison.fields = selection.includes("DEBIAN/control");
    comparison.times = arguments.times;
    return compare(before, after, comparison);
}

ExitStatus runDiff(DiffArguments& arguments, Context& context) {
    if (arguments.before == "-" && arguments.after == "-") {
        throw UsageError("only one of the packages can be standard input");
    }
    // A temporary file, made only where texts are to be shown. It outlives the comparison, which has places in it.
    std::optional<TextSpool> spool;
    if (arguments.content) {
        spool.emplace();
    }
    TextSpool* const texts = spool ? &*spool : nullptr;
    Selection selection(arguments);
    const Comparison comparison = compareAs(arguments, texts, selection, context);
    const ExitStatus status = comparison.differences.empty() ? ExitStatus::done : ExitStatus::no;
    // Set before anything is printed: a reader that goes away early must not turn "differs" into "equal".
    context.whenClosed = status;
    if (context.json) {
        printJson(arguments, comparison, texts, context.console);
    } else {
        printText(arguments, comparison, texts, context.console);
    }
    return std::max(status,
                    reportUnused(selection.chosen(), arguments.before + " and " + arguments.after, context));
}

}  // namespace

void addDiff(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<DiffArguments>();
    verb->add_option("A", arguments->before, "The first package or its URL; - is standard input")->required();
    verb->add_option("B", arguments->after, "The second package or its URL")->required();
    verb->add_option("PATTERN", arguments->patterns, "Only what matches; DEBIAN/NAME is a control member");
    verb->add_option("--exclude", arguments->excluded, "Leave out what matches")
        ->option_text("GLOB")
        ->take_all()
        ->allow_extra_args(false);
    verb->add_flag("--times", arguments->times, "Also compare times");
    CLI::Option* brief = verb->add_flag("--brief", arguments->brief, "List what differs, without details");
    verb->add_flag("--content", arguments->content, "Show changed text files line by line")->excludes(brief);
    verb->footer("Example: bex diff --content hello_1.0_amd64.bex hello_1.1_amd64.bex");
    onChosen(*verb, arguments, chosen, runDiff);
}

}  // namespace bex::tool

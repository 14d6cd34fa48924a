#include <array>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "output/Text.hpp"
#include "verbs/Difference.hpp"
#include "verbs/Input.hpp"
#include "verbs/TextDiff.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

using stream::Entry;

namespace {

struct DiffArguments {
    std::string before;
    std::string after;
    bool content = false;
};

/// Contents by plain path, for the files that are to be shown line by line.
using Contents = std::map<std::string, std::string>;

std::string readWhole(stream::PackageReader& reader, std::uint64_t size) {
    std::string bytes(static_cast<std::size_t>(size), '\0');
    std::size_t filled = 0;
    for (std::size_t count = 0; (count = reader.read(bytes.data() + filled, bytes.size() - filled)) > 0;) {
        filled += count;
    }
    bytes.resize(filled);
    return bytes;
}

/// The contents of the named files and control members; what is too large to be shown is left out.
Contents contentsOf(const std::string& package, const std::set<std::string>& payload,
                    const std::set<std::string>& control, Context& context) {
    stream::PackageReader reader = openPackage(package, readOptions(context));
    Contents contents;
    for (const auto& member : reader.controlMembers()) {
        const std::string path = stream::plainPath(member.entry.path);
        if (control.count(path) > 0) {
            contents["DEBIAN/" + path] = member.contents;
        }
    }
    for (Entry entry; contents.size() < payload.size() + control.size() && reader.next(entry);) {
        const std::string path = stream::plainPath(entry.path);
        if (payload.count(path) > 0 && entry.size <= textDiffBytes) {
            contents[path] = readWhole(reader, entry.size);
        }
    }
    return contents;
}

/// Unified diffs of the text files whose contents differ, by plain path ("DEBIAN/..." for control members).
std::map<std::string, std::string> unifiedDiffs(const DiffArguments& arguments,
                                                const std::vector<Difference>& differences, Context& context) {
    std::set<std::string> payload;
    std::set<std::string> control;
    for (const auto& difference : differences) {
        if (difference.contentsDiffer()) {
            (difference.kind == Difference::Kind::entry ? payload : control).insert(difference.name);
        }
    }
    std::map<std::string, std::string> diffs;
    if (payload.empty() && control.empty()) {
        return diffs;
    }
    const Contents before = contentsOf(arguments.before, payload, control, context);
    const Contents after = contentsOf(arguments.after, payload, control, context);
    for (const auto& [path, bytes] : before) {
        const auto other = after.find(path);
        if (other != after.end() && isText(bytes) && isText(other->second)) {
            diffs[path] = unifiedHunks(bytes, other->second);
        }
    }
    return diffs;
}

std::string placeOf(const Difference& difference) {
    return (difference.kind == Difference::Kind::controlMember ? "DEBIAN/" : "") + difference.name;
}

/// One line a difference, one indented line a detail: "~ usr/bin/tool" and "    size: 17 -> 18".
std::string textOf(const Difference& difference, const Console& console) {
    static const std::map<Change, std::pair<char, Style>> marks = {{Change::added, {'+', Style::good}},
                                                                   {Change::removed, {'-', Style::bad}},
                                                                   {Change::changed, {'~', Style::name}}};
    const auto& [mark, style] = marks.at(difference.change);
    const std::string kind = difference.kind == Difference::Kind::field ? "field " : "";
    std::string text =
        console.styled(style, mark + (" " + kind) + stream::escapeForDisplay(placeOf(difference))) + "\n";
    for (const auto& detail : difference.details) {
        const std::string before = escapedLines(detail.before, "\n      ");
        const std::string after = escapedLines(detail.after, "\n      ");
        const bool both = difference.change == Change::changed;
        text += "    " + detail.what + ": " + (both ? before + " -> " + after : before + after) + "\n";
    }
    return text;
}

Json jsonOf(const Difference& difference) {
    Json object = {{"kind", nameOf(difference.kind)}, {"change", nameOf(difference.change)}};
    putText(object, "name", difference.name);
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

void printJson(const DiffArguments& arguments, const std::vector<Difference>& differences,
               const std::map<std::string, std::string>& diffs, Console& console) {
    Json list = Json::array();
    for (const auto& difference : differences) {
        Json item = jsonOf(difference);
        const auto diff = diffs.find(placeOf(difference));
        if (diff != diffs.end()) {
            item["unified"] = diff->second;
        }
        list.push_back(std::move(item));
    }
    Json object = {{"schema", 1}};
    putText(object, "before", arguments.before);
    putText(object, "after", arguments.after);
    object["differences"] = std::move(list);
    console.out(jsonText(object));
}

void printText(const std::vector<Difference>& differences, const std::map<std::string, std::string>& diffs,
               Console& console) {
    for (const auto& difference : differences) {
        console.out(textOf(difference, console));
        const auto diff = diffs.find(placeOf(difference));
        if (diff != diffs.end()) {
            const std::string path = stream::escapeForDisplay(diff->first);
            console.out("--- a/" + path + "\n+++ b/" + path + "\n" + diff->second);
        }
    }
}

ExitStatus runDiff(DiffArguments& arguments, Context& context) {
    requireFile(arguments.before);
    requireFile(arguments.after);
    const std::vector<Difference> differences =
        compare(digestOf(arguments.before, context), digestOf(arguments.after, context));
    const ExitStatus status = differences.empty() ? ExitStatus::done : ExitStatus::no;
    context.whenClosed = status;
    std::map<std::string, std::string> diffs;
    if (arguments.content) {
        diffs = unifiedDiffs(arguments, differences, context);
    }
    if (context.json) {
        printJson(arguments, differences, diffs, context.console);
    } else {
        printText(differences, diffs, context.console);
    }
    return status;
}

}  // namespace

void addDiff(CLI::App& program, Action& chosen) {
    const auto arguments = std::make_shared<DiffArguments>();
    CLI::App* verb = program.add_subcommand("diff", "Tell in what two packages differ");
    verb->add_option("A", arguments->before, "The first package")->required();
    verb->add_option("B", arguments->after, "The second package")->required();
    verb->add_flag("--content", arguments->content, "Show changed text files line by line");
    verb->footer("Example: bex diff --content hello_1.0_amd64.bex hello_1.1_amd64.bex");
    onChosen(*verb, arguments, chosen, runDiff);
}

}  // namespace bex::tool

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "output/Text.hpp"
#include "verbs/ForEachPackage.hpp"
#include "verbs/Input.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

using stream::EntryType;

namespace {

struct InfoArguments {
    std::vector<std::string> packages;
};

/// How many entries of each kind the payload has, and how large it is unpacked.
struct Totals {
    std::uint64_t entries = 0;
    std::uint64_t files = 0;
    std::uint64_t directories = 0;
    std::uint64_t links = 0;
    std::uint64_t bytes = 0;
};

Totals totalsOf(stream::PackageReader& reader) {
    Totals totals;
    for (stream::Entry entry; reader.next(entry);) {
        ++totals.entries;
        totals.bytes += entry.size;
        totals.files += entry.type == EntryType::file ? 1 : 0;
        totals.directories += entry.type == EntryType::directory ? 1 : 0;
        totals.links += entry.type == EntryType::symlink || entry.type == EntryType::hardlink ? 1 : 0;
    }
    return totals;
}

Json packageJson(const std::string& package, const stream::PackageReader& reader, const Totals& totals) {
    Json fields = Json::object();
    for (const auto& field : reader.control().fields()) {
        putText(fields, field.name, field.value);
    }
    Json members = Json::array();
    for (const auto& member : reader.members()) {
        Json object;
        putText(object, "name", member.name);
        object["size"] = member.size;
        object["compression"] = stream::nameOf(member.compression);
        members.push_back(std::move(object));
    }
    Json control = Json::array();
    for (const auto& member : reader.controlMembers()) {
        control.push_back(jsonOf(member.entry));
    }
    Json object = {{"schema", 1}};
    putText(object, "package", package);
    object["fields"] = std::move(fields);
    object["members"] = std::move(members);
    object["control"] = std::move(control);
    object["payload"] = {{"entries", totals.entries},
                         {"files", totals.files},
                         {"directories", totals.directories},
                         {"links", totals.links},
                         {"bytes", totals.bytes}};
    return object;
}

std::string fieldsText(const stream::ControlParagraph& control, const Console& console) {
    std::string text;
    for (const auto& field : control.fields()) {
        text += console.styled(Style::name, stream::escapeForDisplay(field.name)) + ": " +
                foldedValue(field.value) + "\n";
    }
    return text;
}

std::string membersText(const stream::PackageReader& reader) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& member : reader.members()) {
        rows.push_back({stream::escapeForDisplay(member.name), std::to_string(member.size) + " bytes",
                        std::string(stream::nameOf(member.compression))});
    }
    for (const auto& member : reader.controlMembers()) {
        rows.push_back({"control: " + stream::escapeForDisplay(stream::plainPath(member.entry.path)),
                        std::to_string(member.contents.size()) + " bytes", modeText(member.entry)});
    }
    return alignedTable(rows, {1});
}

std::string totalsText(const Totals& totals) {
    return "payload: " + std::to_string(totals.entries) + " entries (" + std::to_string(totals.files) +
           " files, " + std::to_string(totals.directories) + " directories, " + std::to_string(totals.links) +
           " links), " + std::to_string(totals.bytes) + " bytes\n";
}

void printOne(const std::string& package, bool several, Context& context) {
    stream::PackageReader reader = openPackage(package, readOptions(context));
    const Totals totals = totalsOf(reader);
    Console& console = context.console;
    if (context.json) {
        console.out(jsonText(packageJson(package, reader, totals)));
        return;
    }
    if (several) {
        console.out(console.styled(Style::strong, stream::escapeForDisplay(package)) + "\n");
    }
    console.out(fieldsText(reader.control(), console) + "\n" + membersText(reader) + totalsText(totals) +
                (several ? "\n" : ""));
}

ExitStatus runInfo(InfoArguments& arguments, Context& context) {
    const bool several = arguments.packages.size() > 1;
    return forEachPackage(arguments.packages, context, [&](const std::string& package) {
        printOne(package, several, context);
        return ExitStatus::done;
    });
}

}  // namespace

void addInfo(CLI::App& program, Action& chosen) {
    const auto arguments = std::make_shared<InfoArguments>();
    CLI::App* verb = program.add_subcommand("info", "Show fields, members and totals");
    verb->add_option("PKG", arguments->packages, "The packages; - is standard input")->required();
    verb->footer("Example: bex info hello_1.0_amd64.bex");
    onChosen(*verb, arguments, chosen, runInfo);
}

}  // namespace bex::tool

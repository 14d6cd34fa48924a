#include <algorithm>
#include <charconv>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "output/Text.hpp"
#include "stream/base/Text.hpp"
#include "verbs/ForEachPackage.hpp"
#include "verbs/Input.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

using stream::EntryType;

namespace {

struct InfoArguments {
    std::vector<std::string> packages;
    bool totals = false;
    bool index = false;
};

/// How many entries of each kind the payload has, and how large it is unpacked.
struct Totals {
    std::uint64_t entries = 0;
    std::uint64_t files = 0;
    std::uint64_t directories = 0;
    std::uint64_t links = 0;
    std::uint64_t bytes = 0;
};

void count(const stream::Entry& entry, Totals& totals) {
    ++totals.entries;
    totals.bytes += entry.size;
    if (entry.type == EntryType::file) {
        ++totals.files;
    } else if (entry.type == EntryType::directory) {
        ++totals.directories;
    } else if (entry.type == EntryType::symlink || entry.type == EntryType::hardlink) {
        ++totals.links;
    }
}

/// Reads the payload to its end, and so checks it too.
Totals totalsOf(stream::PackageReader& reader) {
    Totals totals;
    for (stream::Entry entry; reader.next(entry);) {
        count(entry, totals);
    }
    return totals;
}

/// By the index alone: what the entries' bytes really are is not looked at.
Totals totalsOf(const stream::IndexedPackage& package) {
    Totals totals;
    for (std::size_t i = 0; i < package.size(); ++i) {
        count(package.at(i).entry, totals);
    }
    return totals;
}

/// What the control archive says of the payload, which is not read for it.
struct Estimate {
    std::optional<std::uint64_t> files;      ///< lines of md5sums
    std::optional<std::uint64_t> kibibytes;  ///< Installed-Size
};

/// Each part is absent where the package does not say. Neither is checked against the payload.
Estimate estimateOf(const stream::PackageReader& reader) {
    Estimate estimate;
    const stream::ControlMember* sums = reader.findControlMember("md5sums");
    if (sums != nullptr) {
        const std::string& text = sums->contents;
        estimate.files = static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
    }
    const std::string* size = reader.control().find("Installed-Size");
    // Leading digits are enough: verify reports a value that is not a number.
    std::uint64_t kibibytes = 0;
    if (size != nullptr &&
        std::from_chars(size->data(), size->data() + size->size(), kibibytes).ec == std::errc()) {
        estimate.kibibytes = kibibytes;
    }
    return estimate;
}

/// `exact` tells programs which of the two forms they have.
Json jsonOf(const Estimate& estimate) {
    Json object = {{"exact", false}};
    if (estimate.files) {
        object["files"] = *estimate.files;
    }
    if (estimate.kibibytes) {
        object["installedSize"] = *estimate.kibibytes;
    }
    return object;
}

Json jsonOf(const Totals& totals) {
    return {{"exact", true},         {"entries", totals.entries},
            {"files", totals.files}, {"directories", totals.directories},
            {"links", totals.links}, {"bytes", totals.bytes}};
}

/// `reader` has members(), control() and controlMembers() of a PackageReader or an IndexedPackage.
template <typename Package>
Json packageJson(const std::string& name, const Package& reader, std::optional<std::uint64_t> indexBytes,
                 Json payload) {
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
        control.push_back(tool::jsonOf(member.entry));
    }
    Json object = {{"schema", 1}};
    putText(object, "package", name);
    object["fields"] = std::move(fields);
    object["members"] = std::move(members);
    object["control"] = std::move(control);
    object["payload"] = std::move(payload);
    if (indexBytes) {
        object["index"] = {{"bytes", *indexBytes}};
    }
    return object;
}

/// Names may be coloured; values never are, since they may have several lines.
std::string fieldsText(const stream::ControlParagraph& control, const Console& console) {
    std::string text;
    for (const auto& field : control.fields()) {
        text += console.styled(Style::name, stream::escapeForDisplay(field.name)) + ": " +
                foldedValue(field.value) + "\n";
    }
    return text;
}

template <typename Package>
/// The members of the ar archive, then those of the control archive, then the index, which is neither.
std::string membersText(const Package& reader, std::optional<std::uint64_t> indexBytes) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& member : reader.members()) {
        rows.push_back({stream::escapeForDisplay(member.name), std::to_string(member.size) + " bytes",
                        std::string(stream::nameOf(member.compression))});
    }
    for (const auto& member : reader.controlMembers()) {
        rows.push_back({"control: " + stream::escapeForDisplay(stream::plainPath(member.entry.path)),
                        std::to_string(member.contents.size()) + " bytes", modeText(member.entry)});
    }
    if (indexBytes) {
        rows.push_back({"index", std::to_string(*indexBytes) + " bytes", "of the payload"});
    }
    // The second column holds sizes, which are aligned at their ends.
    return alignedTable(rows, {1});
}

std::string textOf(const Totals& totals) {
    return "payload: " + std::to_string(totals.entries) + " entries (" + std::to_string(totals.files) +
           " files, " + std::to_string(totals.directories) + " directories, " + std::to_string(totals.links) +
           " links), " + std::to_string(totals.bytes) + " bytes\n";
}

std::string textOf(const Estimate& estimate) {
    std::string text;
    if (estimate.files) {
        text = std::to_string(*estimate.files) + " files (md5sums)";
    }
    if (estimate.kibibytes) {
        stream::appendPart(text, ", ", std::to_string(*estimate.kibibytes) + " KiB (Installed-Size)");
    }
    if (text.empty()) {
        return "";
    }
    return "payload: " + text + "\n";
}

/// From a pipe, the data member is known once its first entry was asked for.
void reachPayload(stream::PackageReader& reader) {
    const auto& members = reader.members();
    const bool reached = std::any_of(members.begin(), members.end(), [](const stream::Member& member) {
        return member.name.rfind("data.tar", 0) == 0;
    });
    if (!reached) {
        stream::Entry entry;
        reader.next(entry);
    }
}

/// `reader` as for packageJson(); `payload` is Totals or Estimate, which have the same functions.
template <typename Package, typename Payload>
void print(const std::string& package, const Package& reader, std::optional<std::uint64_t> indexBytes,
           const Payload& payload, const InfoArguments& arguments, Context& context) {
    Console& console = context.console;
    const bool several = arguments.packages.size() > 1;
    if (context.json) {
        Json object = packageJson(package, reader, indexBytes, jsonOf(payload));
        if (arguments.index) {
            object["source"] = "index";
        }
        console.out(jsonObject(object, several));
        return;
    }
    if (several) {
        console.out(console.styled(Style::strong, stream::escapeForDisplay(package)) + "\n");
    }
    console.out(fieldsText(reader.control(), console) + "\n" + membersText(reader, indexBytes) + textOf(payload));
    if (several) {
        console.out("\n");
    }
}

void printOne(const std::string& package, const InfoArguments& arguments, Context& context) {
    if (arguments.index) {
        const stream::IndexedPackage indexed = openIndexed(package, readOptions(context), context);
        // The numbers are exact as far as the index is right, which --index means to believe.
        print(package, indexed, indexed.indexBytes(), totalsOf(indexed), arguments, context);
        return;
    }
    if (arguments.totals) {
        stream::PackageReader reader = openWhole(package, readOptions(context), context);
        // Before the payload is read: a pipe cannot go back to it.
        const std::optional<std::uint64_t> indexBytes = reader.indexBytes();
        print(package, reader, indexBytes, totalsOf(reader), arguments, context);
        return;
    }
    stream::PackageReader reader = openFront(package, readOptions(context), context);
    std::optional<std::uint64_t> indexBytes;
    if (!isUrl(package)) {  // of which only the front is fetched
        indexBytes = reader.indexBytes();
    }
    reachPayload(reader);
    print(package, reader, indexBytes, estimateOf(reader), arguments, context);
}

ExitStatus runInfo(InfoArguments& arguments, Context& context) {
    // Goes on after a package that cannot be read, and gives the worst status.
    return forEachPackage(arguments.packages, context, [&](const std::string& package) {
        printOne(package, arguments, context);
        return ExitStatus::done;
    });
}

}  // namespace

void addInfo(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<InfoArguments>();
    verb->add_option("PKG", arguments->packages, "The packages or their URLs; - is standard input")->required();
    CLI::Option* totals = verb->add_flag("--totals", arguments->totals, "Read the payload for its exact totals");
    addIndexOption(*verb, arguments->index)->excludes(totals);
    verb->footer("Example: bex info hello_1.0_amd64.bex");
    onChosen(*verb, arguments, chosen, runInfo);
}

}  // namespace bex::tool

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"
#include "output/Failure.hpp"
#include "output/Text.hpp"
#include "verbs/Input.hpp"
#include "verbs/Patterns.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

using stream::Entry;
using stream::EntryType;

namespace {

struct CatArguments {
    std::string package;
    std::vector<std::string> paths;
    bool control = false;
};

void printContents(stream::PackageReader& reader, Console& console) {
    std::vector<char> buffer(256 * 1024);
    for (std::size_t count = 0; (count = reader.read(buffer.data(), buffer.size())) > 0;) {
        console.out({buffer.data(), count});
    }
}

/// A hard link's bytes are those of an earlier entry, which a second reader has to look for.
void printTarget(const std::string& package, const Entry& link, Context& context) {
    const std::string target = stream::plainPath(link.linkTarget);
    if (package == "-") {
        stream::ErrorRecord record;
        record.kind = stream::ErrorKind::inputOutput;
        record.code = "link-passed";
        record.package = nameInMessages(package);
        record.entry = link.path;
        record.reason = "is a hard link to " + stream::escapeForDisplay(target) +
                        ", which has gone by; name that, or give the package as a file";
        throw stream::StreamError(std::move(record));
    }
    stream::PackageReader reader = openPackage(package, readOptions(context));
    for (Entry entry; reader.next(entry);) {
        if (stream::plainPath(entry.path) == target) {
            printContents(reader, context.console);
            return;
        }
    }
}

void printControl(const stream::PackageReader& reader, Patterns& patterns, Console& console) {
    for (const auto& member : reader.controlMembers()) {
        if (patterns.choose(member.entry)) {
            console.out(member.contents);
        }
    }
}

/// What has no bytes, such as a symlink, is told; the answer is then no. Directories stand for what is below them.
ExitStatus printPayload(stream::PackageReader& reader, Patterns& patterns, const CatArguments& arguments,
                        Context& context) {
    ExitStatus status = ExitStatus::done;
    for (Entry entry; reader.next(entry);) {
        if (!patterns.choose(entry) || entry.type == EntryType::directory) {
            continue;
        }
        if (entry.type == EntryType::file) {
            printContents(reader, context.console);
        } else if (entry.type == EntryType::hardlink) {
            printTarget(arguments.package, entry, context);
        } else {
            status = answerNo(nameInMessages(arguments.package) + ": " + stream::escapeForDisplay(entry.path) +
                                  ": is a " + nameOf(entry.type) + " and has no bytes",
                              "", context);
        }
    }
    return status;
}

ExitStatus runCat(CatArguments& arguments, Context& context) {
    stream::PackageReader reader = openPackage(arguments.package, readOptions(context));
    Patterns patterns(arguments.paths);
    ExitStatus status = ExitStatus::done;
    if (arguments.control) {
        printControl(reader, patterns, context.console);
    } else {
        status = printPayload(reader, patterns, arguments, context);
    }
    return std::max(status, reportUnused(patterns, arguments.package, context));
}

}  // namespace

void addCat(CLI::App& program, Action& chosen) {
    const auto arguments = std::make_shared<CatArguments>();
    CLI::App* verb = program.add_subcommand("cat", "Print the bytes of entries as they are");
    addPackageArgument(*verb, arguments->package);
    verb->add_option("PATH", arguments->paths, "Entries (glob), printed in the package's order")->required();
    verb->add_flag("--control", arguments->control, "Print control members instead");
    verb->footer("Example: bex cat --control hello_1.0_amd64.bex postinst");
    onChosen(*verb, arguments, chosen, runCat);
}

}  // namespace bex::tool

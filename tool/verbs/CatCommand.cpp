#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
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
    bool index = false;
};

/// What was printed.
struct Printed {
    std::uint64_t entries = 0;
    std::uint64_t bytes = 0;
};

/// `reader` has the read() of a PackageReader or an EntryStream.
template <typename Reader>
void printContents(Reader& reader, Printed& printed, Console& console) {
    // For each entry anew, which costs little beside a system call; memory does not depend on the entry's size.
    std::vector<char> buffer(256 * 1024);
    for (std::size_t count = 0; (count = reader.read(buffer.data(), buffer.size())) > 0;) {
        console.out({buffer.data(), count});
        printed.bytes += count;
    }
    ++printed.entries;
}

/// A hard link's bytes are those of an earlier entry, which a second reader has to look for.
void printTarget(const std::string& package, const Entry& link, Printed& printed, Context& context) {
    const std::string target = stream::plainPath(link.linkTarget);
    if (package == "-") {
        stream::ErrorRecord record;
        record.kind = stream::ErrorKind::inputOutput;
        record.code = "link-passed";
        record.package = nameInMessages(package);
        record.entry = link.path;
        record.reason = "is a hard link to " + stream::escapeForDisplay(target) +
                        ", which was skipped; name it as well, or pass the package as a file";
        throw stream::StreamError(std::move(record));
    }
    // From the front again: linear in the package for each hard link that is asked for. --index finds it at once.
    stream::PackageReader reader = openWhole(package, readOptions(context), context);
    for (Entry entry; reader.next(entry);) {
        if (stream::plainPath(entry.path) == target) {
            printContents(reader, printed, context.console);
            return;
        }
    }
}

/// The status is that of an answer "no": asking for the bytes of a symlink is not an error.
ExitStatus noteWithoutBytes(const std::string& package, const Entry& entry, Context& context) {
    return answerNo(nameInMessages(package) + ": " + stream::escapeForDisplay(entry.path) + ": is a " +
                        nameOf(entry.type) + " and has no contents",
                    "", context);
}

void printControl(const stream::PackageReader& reader, Patterns& patterns, Printed& printed, Console& console) {
    for (const auto& member : reader.controlMembers()) {
        if (patterns.choose(member.entry)) {
            console.out(member.contents);
            printed.bytes += member.contents.size();
            ++printed.entries;
        }
    }
}

/// What has no bytes, such as a symlink, is noted; the answer is then no. Directories stand for what is below
/// them.
ExitStatus printPayload(stream::PackageReader& reader, Patterns& patterns, const std::string& package,
                        Printed& printed, Context& context) {
    ExitStatus status = ExitStatus::done;
    for (Entry entry; reader.next(entry);) {
        if (!patterns.choose(entry) || entry.type == EntryType::directory) {
            continue;
        }
        if (entry.type == EntryType::file) {
            printContents(reader, printed, context.console);
        } else if (entry.type == EntryType::hardlink) {
            printTarget(package, entry, printed, context);
        } else {
            status = noteWithoutBytes(package, entry, context);
        }
    }
    return status;
}

/// The numbers of the entries where each argument is the path of one that is not a directory, so that the others
/// need not be looked at; nothing where they have to be.
std::optional<std::set<std::size_t>> numbersOf(const std::vector<std::string>& paths,
                                               const stream::IndexedPackage& package) {
    std::set<std::size_t> numbers;
    for (const std::string& path : paths) {
        if (path.find_first_of("*?[\\") != std::string::npos) {
            return std::nullopt;
        }
        // Patterns may begin with slashes; the index has plain paths.
        std::string_view relative = path;
        relative.remove_prefix(std::min(relative.find_first_not_of('/'), relative.size()));
        const std::optional<std::size_t> number = package.find(stream::plainPath(relative));
        if (!number || package.at(*number).entry.type == EntryType::directory) {
            return std::nullopt;
        }
        numbers.insert(*number);
    }
    return numbers;
}

ExitStatus printIndexed(const stream::IndexedPackage& package, std::size_t number, const std::string& name,
                        Printed& printed, Context& context) {
    const Entry entry = package.at(number).entry;
    if (entry.type == EntryType::directory) {
        return ExitStatus::done;
    }
    if (entry.type != EntryType::file && entry.type != EntryType::hardlink) {
        return noteWithoutBytes(name, entry, context);
    }
    stream::EntryStream contents = package.open(number);
    printContents(contents, printed, context.console);
    return ExitStatus::done;
}

ExitStatus printByIndex(const CatArguments& arguments, Patterns& patterns, Printed& printed, Context& context) {
    const stream::IndexedPackage package = openIndexed(arguments.package, readOptions(context), context);
    ExitStatus status = ExitStatus::done;
    const auto print = [&](std::size_t number) {
        if (patterns.choose(package.at(number).entry)) {
            // The worst status of all counts: their numbers are in that order.
            status = std::max(status, printIndexed(package, number, arguments.package, printed, context));
        }
    };
    // A set, so that entries come in the package's order and each once.
    if (const auto numbers = numbersOf(arguments.paths, package)) {
        std::for_each(numbers->begin(), numbers->end(), print);
        return status;
    }
    for (std::size_t i = 0; i < package.size(); ++i) {
        print(i);
    }
    return status;
}

/// On standard error, since the bytes have standard output, and only with --json and --verbose: otherwise nothing
/// there is a sign of success.
void reportPrinted(const CatArguments& arguments, const Printed& printed, Context& context) {
    if (!context.json || context.verbosity == 0) {
        return;
    }
    // The bytes come before the report, also where both streams are one file.
    context.console.flush();
    Json object = {{"schema", 1}};
    putText(object, "package", arguments.package);
    if (arguments.index) {
        object["source"] = "index";
    }
    object["entries"] = printed.entries;
    object["bytes"] = printed.bytes;
    context.console.rawError(jsonLine(object));
}

ExitStatus runCat(CatArguments& arguments, Context& context) {
    Patterns patterns(arguments.paths);
    Printed printed;
    ExitStatus status = ExitStatus::done;
    if (arguments.index) {
        status = printByIndex(arguments, patterns, printed, context);
    } else if (arguments.control) {
        const stream::PackageReader reader = openFront(arguments.package, readOptions(context), context);
        printControl(reader, patterns, printed, context.console);
    } else {
        stream::PackageReader reader = openWhole(arguments.package, readOptions(context), context);
        status = printPayload(reader, patterns, arguments.package, printed, context);
    }
    reportPrinted(arguments, printed, context);
    return std::max(status, reportUnused(patterns, arguments.package, context));
}

}  // namespace

void addCat(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<CatArguments>();
    addPackageArgument(*verb, arguments->package);
    verb->add_option("PATH", arguments->paths, "Entries (glob), printed in the package's order")->required();
    CLI::Option* control = verb->add_flag("--control", arguments->control, "Print control members instead");
    addIndexOption(*verb, arguments->index)->excludes(control);
    verb->footer("Example: bex cat --control hello_1.0_amd64.bex postinst");
    onChosen(*verb, arguments, chosen, runCat);
}

}  // namespace bex::tool

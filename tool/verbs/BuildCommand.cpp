#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "arguments/Choice.hpp"
#include "arguments/LimitOption.hpp"
#include "arguments/Number.hpp"
#include "bex/stream/Escape.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "output/Failure.hpp"
#include "output/Interrupt.hpp"
#include "output/Json.hpp"
#include "output/ProgressBar.hpp"
#include "output/Text.hpp"
#include "verbs/BuildArguments.hpp"
#include "verbs/BuildInputs.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

namespace fs = std::filesystem;
using stream::Compression;
using stream::PackageWriter;
using stream::WriteOptions;
using stream::WriteResult;

namespace {

/// Standard output as the target of a package.
class OutputSink : public stream::Sink {
public:
    explicit OutputSink(Console& console) : console_(console) {}
    void write(const char* data, std::size_t size) override { console_.out({data, size}); }

private:
    Console& console_;
};

/// "NAME_VERSION_ARCHITECTURE.bex"; the epoch is left out, as in the names of Debian's archive.
std::string defaultName(const stream::ControlParagraph& control) {
    if (!control.faults().empty()) {
        return "unnamed.bex";  // Nothing will get this name: the writer refuses the paragraph with all its faults.
    }
    const auto valueOf = [&](const char* name) {
        const std::string* value = control.find(name);
        return value != nullptr ? *value : std::string();
    };
    const std::string version = valueOf("Version");
    return valueOf("Package") + "_" + version.substr(version.find(':') + 1) + "_" + valueOf("Architecture") +
           ".bex";
}

/// "" for standard output.
std::string targetPath(const std::string& out, const stream::ControlParagraph& control) {
    if (out.empty() || out == "-") {
        return out.empty() ? defaultName(control) : "";
    }
    std::error_code failure;
    return fs::is_directory(out, failure) ? (fs::path(out) / defaultName(control)).string() : out;
}

/// A line of --dry-run.
std::string lineOf(const stream::Entry& entry) {
    const std::string target = stream::escapeForDisplay(entry.linkTarget);
    return modeText(entry) + "\t" + std::to_string(entry.size) + "\t" + stream::escapeForDisplay(entry.path) +
           (target.empty() ? "" : "\t" + target) + "\n";
}

/// The library's notes about the package, each as a message and a hint where one helps.
Json notesJson(const std::vector<stream::Finding>& notes) {
    Json list = Json::array();
    for (const auto& note : notes) {
        Json object = {{"code", note.code}};
        putText(object, "message", messageOf(note));
        if (!note.limit.empty()) {
            object["hint"] = limitHint(note.limit);
        }
        list.push_back(std::move(object));
    }
    return list;
}

void printNotes(const std::string& package, const WriteResult& result, Context& context) {
    if (context.json) {
        return;  // they are in the object
    }
    for (stream::Finding note : result.notes) {
        note.package = package;
        context.console.note(messageOf(note));
        if (!note.limit.empty()) {
            context.console.note("hint: " + limitHint(note.limit));
        }
    }
}

/// Writes to standard output where `target` is "".
WriteResult writeTo(const std::string& target, const PackageWriter& writer, const WriteOptions& options,
                    Context& context) {
    if (!target.empty()) {
        return writer.write(target, options);
    }
    OutputSink sink(context.console);
    return writer.write(sink, "", options);
}

/// Nothing is listed unless everything that can be checked is right.
ExitStatus pretend(const PackageWriter& writer, const std::string& target, WriteOptions& options,
                   Context& context) {
    std::string lines;
    Json entries = Json::array();
    options.onEntry = [&](const stream::Entry& entry) {
        if (context.json) {
            entries.push_back(jsonOf(entry));
        } else {
            lines += lineOf(entry);
        }
    };
    const WriteResult result = writeTo(target, writer, options, context);
    context.console.out(
        context.json
            ? jsonText({{"schema", 1}, {"entries", std::move(entries)}, {"notes", notesJson(result.notes)}})
            : lines);
    printNotes(target, result, context);
    return ExitStatus::done;
}

void printResult(const std::string& path, const WriteResult& result, Context& context) {
    if (!context.json) {
        context.console.out(path + "\n");
        return;
    }
    Json object = {{"schema", 1}};
    putText(object, "package", path);
    object["packageBytes"] = result.packageBytes;
    object["payloadBytes"] = result.payloadBytes;
    object["entries"] = result.entries;
    object["notes"] = notesJson(result.notes);
    context.console.out(jsonText(object));
}

ExitStatus write(const PackageWriter& writer, const std::string& target, WriteOptions& options, Context& context) {
    if (context.verbosity > 0) {
        options.onEntry = [&context](const stream::Entry& entry) {
            context.console.note(stream::escapeForDisplay(entry.path));
        };
    }
    if (target.empty()) {
        context.whenClosed = ExitStatus::inputOutput;
    }
    const WriteResult result = writeTo(target, writer, options, context);
    if (!target.empty()) {
        printResult(target, result, context);
    }
    printNotes(target, result, context);
    return ExitStatus::done;
}

WriteOptions writeOptions(const BuildArguments& arguments, const Context& context) {
    WriteOptions options;
    options.compression = arguments.compression;
    options.level = arguments.level;
    options.threads = context.threads;
    options.md5sums = !arguments.noMd5sums;
    options.keepOwner = arguments.keepOwner;
    options.normalizeModes = arguments.normalizeModes;
    options.check = arguments.check;
    options.dryRun = arguments.dryRun;
    return options;
}

void requireUsableOutput(const BuildArguments& arguments, const Context& context) {
    if (arguments.out != "-" || arguments.dryRun) {
        return;
    }
    if (arguments.check || context.json) {
        throw UsageError("--check and --json need a file to write: OUT is -");
    }
    if (context.console.outIsTerminal()) {
        throw UsageError("OUT is - and standard output is a terminal, which can't take a package");
    }
}

ExitStatus runBuild(BuildArguments& arguments, Context& context) {
    requireUsableOutput(arguments, context);
    catchInterrupts();
    PackageWriter writer;
    fillControl(arguments, writer);
    const std::string target = targetPath(arguments.out, writer.control());
    addContents(arguments, target, writer, context);
    ProgressBar progress(context, "packing");
    WriteOptions options = writeOptions(arguments, context);
    options.progress = progress.callback();
    return arguments.dryRun ? pretend(writer, target, options, context) : write(writer, target, options, context);
}

void addFieldOptions(CLI::App& verb, BuildArguments& arguments) {
    verb.add_option("--control", arguments.controlFile, "Control paragraph, instead of TREE/DEBIAN/control")
        ->option_text("FILE");
    verb.add_option("--field", arguments.fields, "Set a field")
        ->option_text("NAME=VALUE")
        ->allow_extra_args(false);
    const std::pair<const char*, const char*> named[] = {
        {"--name", "Package"},          {"--version", "Version"},
        {"--arch", "Architecture"},     {"--description", "Description"},
        {"--maintainer", "Maintainer"}, {"--depends", "Depends"},
        {"--section", "Section"},       {"--priority", "Priority"}};
    for (const auto& [option, field] : named) {
        verb.add_option_function<std::string>(
                option,
                [&arguments, name = field](const std::string& value) {
                    arguments.namedFields.emplace_back(name, value);
                },
                std::string("Set ") + field)
            ->option_text("TEXT")
            ->group("Set Package, Version, Architecture and so on");
    }
}

void addPayloadOptions(CLI::App& verb, BuildArguments& arguments) {
    verb.add_option("--prefix", arguments.prefix, "Place the tree below this directory of the package")
        ->option_text("DIR");
    verb.add_option("--add", arguments.additions, "Add a file or directory")
        ->option_text("SRC:DST")
        ->allow_extra_args(false);
    verb.add_option("--stdin", arguments.standardInput, "Add standard input under this path")->option_text("DST");
    verb.add_option("--mode", arguments.modes, "Set the mode of what matches")
        ->option_text("GLOB=0755")
        ->allow_extra_args(false);
    verb.add_option("--script", arguments.scripts, "Add a maintainer script or other control member")
        ->option_text("NAME=FILE")
        ->allow_extra_args(false);
    verb.add_option("--conffile", arguments.conffiles, "Mark a path as configuration")
        ->option_text("PATH")
        ->allow_extra_args(false);
    constexpr const char* treeRow = "Keep owners, set modes 0755 and 0644, leave out devices";
    verb.add_flag("--keep-owner", arguments.keepOwner, "Keep owners instead of root")->group(treeRow);
    verb.add_flag("--normalize-modes", arguments.normalizeModes, "Modes 0755 and 0644")->group(treeRow);
    verb.add_flag("--skip-special", arguments.skipSpecial, "Leave out special files")->group(treeRow);
}

/// "gzip 0-12 (6), zstd ..., none".
std::string levelsText() {
    std::string text;
    for (const Compression kind : {Compression::gzip, Compression::zstd, Compression::xz}) {
        const stream::CompressionLevels levels = stream::levelsOf(kind);
        text += std::string(nameOf(kind)) + " " + std::to_string(levels.lowest) + "-" +
                std::to_string(levels.highest) + " (" + std::to_string(levels.usual) + "), ";
    }
    return text + std::string(nameOf(Compression::none));
}

void addOutputOptions(CLI::App& verb, BuildArguments& arguments) {
    const std::string compressionRow = levelsText();
    addChoice<Compression>(verb, "--compression", "How to compress",
                           {{"gzip", Compression::gzip},
                            {"zstd", Compression::zstd},
                            {"xz", Compression::xz},
                            {"none", Compression::none}},
                           [&arguments](Compression kind) { arguments.compression = kind; })
        ->option_text("KIND")
        ->group(compressionRow);
    addNumber<int>(verb, "--level", "How hard to compress", [&arguments](int level) {
        arguments.level = level;
    })->group(compressionRow);
    verb.add_flag("--no-md5sums", arguments.noMd5sums, "Make no md5sums");
    CLI::Option* dryRun = verb.add_flag("--dry-run", arguments.dryRun, "Only list what would go in");
    verb.add_flag("--check", arguments.check, "Read the result back and compare before it appears")
        ->excludes(dryRun);
}

}  // namespace

void addBuild(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<BuildArguments>();
    verb->add_option("TREE", arguments->tree, "The directory to package; DEBIAN in it is as for dpkg-deb")
        ->required();
    verb->add_option("OUT", arguments->out, "The package, or a directory for it; - is standard output");
    addFieldOptions(*verb, *arguments);
    addPayloadOptions(*verb, *arguments);
    addOutputOptions(*verb, *arguments);
    verb->footer("Example: bex build site --prefix var/www --control site.control");
    onChosen(*verb, arguments, chosen, runBuild);
}

}  // namespace bex::tool

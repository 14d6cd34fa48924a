#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "arguments/Choice.hpp"
#include "bex/stream/AtomicFile.hpp"
#include "bex/stream/Escape.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "output/Failure.hpp"
#include "output/Interrupt.hpp"
#include "output/Json.hpp"
#include "output/ProgressBar.hpp"
#include "output/Text.hpp"
#include "verbs/BuildArguments.hpp"
#include "verbs/BuildDependencies.hpp"
#include "verbs/BuildInputs.hpp"
#include "verbs/DebugPackage.hpp"
#include "verbs/Input.hpp"
#include "verbs/InputCopy.hpp"
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

/// The folder that takes temporary files where the result itself is in none.
std::string temporaryFolder() {
    const char* folder = std::getenv("TMPDIR");
    return folder != nullptr && *folder != '\0' ? folder : "/tmp";
}

std::string folderOf(const std::string& path) {
    const fs::path parent = fs::path(path).parent_path();
    return parent.empty() ? "." : parent.string();
}

/// Reads what was written and holds it against its sources; a difference is told as one of the package.
void checkWritten(const PackageWriter& writer, const stream::AtomicFile& file, const std::string& path,
                  const WriteOptions& options, const Context& context) {
    stream::ReadOptions reading = readOptions(context);
    reading.progress = options.progress;
    stream::PackageReader reader(file.descriptor(), path, reading);
    try {
        writer.compare(reader, options);
    } catch (const stream::StreamError& e) {
        stream::ErrorRecord record = e.record();
        if (record.package.empty()) {
            record.package = path;
        }
        throw stream::StreamError(std::move(record));
    }
}

/// Writes the package beside its name, reads it back where that was asked for, and only then lets it appear.
WriteResult buildFile(const PackageWriter& writer, const std::string& path, bool check,
                      const WriteOptions& options, const Context& context) {
    stream::AtomicFile file(path);
    const WriteResult result = writer.write(file, folderOf(path), options);
    if (check) {
        checkWritten(writer, file, path, options, context);
    }
    file.commit();
    return result;
}

ExitStatus printPlan(const PackageWriter& writer, const WriteOptions& options, Context& context) {
    Json entries = Json::array();
    for (const auto& entry : writer.plan(options)) {
        if (context.json) {
            entries.push_back(jsonOf(entry));
        } else {
            const std::string target = stream::escapeForDisplay(entry.linkTarget);
            context.console.out(modeText(entry) + "\t" + std::to_string(entry.size) + "\t" +
                                stream::escapeForDisplay(entry.path) + (target.empty() ? "" : "\t" + target) +
                                "\n");
        }
    }
    if (context.json) {
        context.console.out(jsonText({{"schema", 1}, {"entries", std::move(entries)}}));
    }
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
    context.console.out(jsonText(object));
}

ExitStatus write(const PackageWriter& writer, const std::string& target, bool check, const WriteOptions& options,
                 Context& context) {
    if (context.verbosity > 0) {
        for (const auto& entry : writer.plan(options)) {
            context.console.note(stream::escapeForDisplay(entry.path));
        }
    }
    if (!target.empty()) {
        printResult(target, buildFile(writer, target, check, options, context), context);
        return ExitStatus::done;
    }
    context.whenClosed = ExitStatus::inputOutput;
    OutputSink sink(context.console);
    writer.write(sink, temporaryFolder(), options);
    return ExitStatus::done;
}

WriteOptions writeOptions(const BuildArguments& arguments, const Context& context) {
    WriteOptions options;
    options.compression = arguments.compression;
    options.level = arguments.level;
    options.threads = context.threads;
    options.md5sums = !arguments.noMd5sums;
    options.keepOwner = arguments.keepOwner;
    return options;
}

void requireUsableOutput(const BuildArguments& arguments, const Context& context) {
    if (arguments.out != "-" || arguments.dryRun) {
        return;
    }
    if (arguments.strip == StripKind::dbgsym) {
        throw UsageError("--strip dbgsym needs a file to write: OUT is -");
    }
    if (arguments.check || context.json) {
        throw UsageError("--check and --json need a file to write: OUT is -");
    }
    if (context.console.outIsTerminal()) {
        throw UsageError("OUT is - and standard output is a terminal, which can't take a package");
    }
}

/// Before the package itself: one that is there has its symbols beside it.
void writeDebugPackage(const PackageWriter& writer, const StrippedFiles& stripped, const std::string& target,
                       const WriteOptions& options, Context& context) {
    // A paragraph that is refused is so when the package itself is written, with all that is wrong with it.
    if (stripped.debugFiles().empty() || !writer.control().faults().empty()) {
        return;
    }
    PackageWriter debug;
    fillDebugPackage(writer.control(), stripped, debug);
    const std::string path = debugTarget(target, writer.control());
    printResult(path, buildFile(debug, path, false, options, context), context);
}

ExitStatus runBuild(BuildArguments& arguments, Context& context) {
    requireUsableOutput(arguments, context);
    catchInterrupts();
    PackageWriter writer;
    fillControl(arguments, writer);
    if (const ExitStatus status = fillDependencies(arguments, writer.control(), context);
        status != ExitStatus::done) {
        return status;
    }
    const std::string target = targetPath(arguments.out, writer.control());
    const InputCopy input(arguments.standardInput ? temporaryFolder() : "");
    StrippedFiles stripped(arguments.strip, arguments.keepOwner, context);
    addContents(arguments, {input.path(), target, stripped}, writer);
    ProgressBar progress(context, "packing");
    WriteOptions options = writeOptions(arguments, context);
    options.progress = progress.callback();
    if (arguments.dryRun) {
        return printPlan(writer, options, context);
    }
    writeDebugPackage(writer, stripped, target, options, context);
    return write(writer, target, arguments.check, options, context);
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

void addLibraryOptions(CLI::App& verb, BuildArguments& arguments) {
    constexpr const char* row = "Where --depends auto looks";
    const auto addList = [&](const char* name, std::vector<std::string>& values, const char* what) {
        verb.add_option(name, values, what)->option_text("DIR")->allow_extra_args(false)->group(row);
    };
    addList("--from", arguments.shlibs.from, "Take symbols and shlibs from packages");
    addList("--libdir", arguments.shlibs.libdirs, "Search private libraries here");
    verb.add_option("--sysroot", arguments.shlibs.sysroot, "The directory that stands for /")
        ->option_text("DIR")
        ->group(row);
}

void addPayloadOptions(CLI::App& verb, BuildArguments& arguments) {
    verb.add_option("--prefix", arguments.prefix, "Place the tree below this directory of the package")
        ->option_text("DIR");
    verb.add_option("--add", arguments.additions, "Add a file or folder")
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
    addChoice<StripKind>(verb, "--strip", "Debug symbols: none is left out, drop, dbgsym: a package of their own",
                         {{"none", StripKind::none}, {"drop", StripKind::drop}, {"dbgsym", StripKind::dbgsym}},
                         [&arguments](StripKind kind) { arguments.strip = kind; })
        ->option_text("KIND");
    constexpr const char* treeRow = "Keep owners; leave out sockets, FIFOs, devices";
    verb.add_flag("--keep-owner", arguments.keepOwner, "Keep owners instead of root")->group(treeRow);
    verb.add_flag("--skip-special", arguments.skipSpecial, "Leave out special files")->group(treeRow);
}

void addOutputOptions(CLI::App& verb, BuildArguments& arguments) {
    constexpr const char* compressionRow = "gzip 0-12 (6), zstd 1-19 (3), xz 0-9 (6), none";
    addChoice<Compression>(verb, "--compression", "How to compress",
                           {{"gzip", Compression::gzip},
                            {"zstd", Compression::zstd},
                            {"xz", Compression::xz},
                            {"none", Compression::none}},
                           [&arguments](Compression kind) { arguments.compression = kind; })
        ->option_text("KIND")
        ->group(compressionRow);
    verb.add_option("--level", arguments.level, "How hard to compress")->option_text("N")->group(compressionRow);
    constexpr const char* flagsRow = "No md5sums; only list; compare the result";
    verb.add_flag("--no-md5sums", arguments.noMd5sums, "Make no md5sums")->group(flagsRow);
    CLI::Option* dryRun =
        verb.add_flag("--dry-run", arguments.dryRun, "Only list what would go in")->group(flagsRow);
    verb.add_flag("--check", arguments.check, "Read the result back and compare before it appears")
        ->excludes(dryRun)
        ->group(flagsRow);
}

}  // namespace

void addBuild(CLI::App& program, Action& chosen) {
    const auto arguments = std::make_shared<BuildArguments>();
    CLI::App* verb = program.add_subcommand("build", "Package a tree");
    verb->add_option("TREE", arguments->tree, "The folder to package; its DEBIAN is taken as by dpkg-deb")
        ->required();
    verb->add_option("OUT", arguments->out, "The package, or a folder for it; - is standard output");
    addFieldOptions(*verb, *arguments);
    addLibraryOptions(*verb, *arguments);
    addPayloadOptions(*verb, *arguments);
    addOutputOptions(*verb, *arguments);
    verb->footer("Example: bex build site --prefix var/www --control site.control");
    onChosen(*verb, arguments, chosen, runBuild);
}

}  // namespace bex::tool

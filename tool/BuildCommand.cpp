#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "BuildChoices.hpp"
#include "BuildInputs.hpp"
#include "Choice.hpp"
#include "Failure.hpp"
#include "Input.hpp"
#include "InputCopy.hpp"
#include "Interrupt.hpp"
#include "Json.hpp"
#include "ProgressBar.hpp"
#include "Text.hpp"
#include "Verb.hpp"
#include "bex/stream/AtomicFile.hpp"
#include "bex/stream/Escape.hpp"
#include "bex/stream/PackageWriter.hpp"

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
    const std::string name = stream::escapeForDisplay(path);
    stream::PackageReader reader(file.descriptor(), path, reading);
    try {
        writer.compare(reader, options);
    } catch (const stream::StreamError& e) {
        const bool named = e.kind() != stream::ErrorKind::damaged || e.getMessage().rfind(name, 0) == 0;
        throw stream::StreamError(e.kind(), named ? e.getMessage() : name + ": " + e.getMessage());
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

WriteOptions writeOptions(const BuildChoices& choices, const Context& context) {
    WriteOptions options;
    options.compression = choices.compression;
    options.level = choices.level;
    options.threads = context.threads;
    options.md5sums = !choices.noMd5sums;
    options.keepOwner = choices.keepOwner;
    return options;
}

void requireUsableOutput(const BuildChoices& choices, const Context& context) {
    if (choices.out != "-" || choices.dryRun) {
        return;
    }
    if (choices.check || context.json) {
        throw UsageError("--check and --json need a file to write: OUT is -");
    }
    if (context.console.outIsTerminal()) {
        throw UsageError("OUT is - and standard output is a terminal, which can't take a package");
    }
}

ExitStatus runBuild(BuildChoices& choices, Context& context) {
    requireUsableOutput(choices, context);
    catchInterrupts();
    PackageWriter writer;
    fillControl(choices, writer);
    const std::string target = targetPath(choices.out, writer.control());
    const InputCopy input(choices.standardInput ? temporaryFolder() : "");
    addContents(choices, input.path(), target, writer);
    ProgressBar progress(context, "packing");
    WriteOptions options = writeOptions(choices, context);
    options.progress = progress.callback();
    return choices.dryRun ? printPlan(writer, options, context)
                          : write(writer, target, choices.check, options, context);
}

void addFieldOptions(CLI::App& verb, BuildChoices& choices) {
    verb.add_option("--control", choices.controlFile, "Control paragraph, instead of TREE/DEBIAN/control")
        ->option_text("FILE");
    verb.add_option("--field", choices.fields, "Set a field")->option_text("NAME=VALUE")->allow_extra_args(false);
    const std::pair<const char*, const char*> named[] = {
        {"--name", "Package"},          {"--version", "Version"},
        {"--arch", "Architecture"},     {"--description", "Description"},
        {"--maintainer", "Maintainer"}, {"--depends", "Depends"},
        {"--section", "Section"},       {"--priority", "Priority"}};
    for (const auto& [option, field] : named) {
        verb.add_option_function<std::string>(
                option,
                [&choices, name = field](const std::string& value) {
                    choices.namedFields.emplace_back(name, value);
                },
                std::string("Set ") + field)
            ->option_text("TEXT")
            ->group("Set Package, Version, Architecture and so on");
    }
}

void addPayloadOptions(CLI::App& verb, BuildChoices& choices) {
    verb.add_option("--prefix", choices.prefix, "Place the tree below this directory of the package")
        ->option_text("DIR");
    verb.add_option("--add", choices.additions, "Add a file or folder")
        ->option_text("SRC:DST")
        ->allow_extra_args(false);
    verb.add_option("--stdin", choices.standardInput, "Add standard input under this path")->option_text("DST");
    verb.add_option("--mode", choices.modes, "Set the mode of what matches")
        ->option_text("GLOB=0755")
        ->allow_extra_args(false);
    verb.add_option("--script", choices.scripts, "Add a maintainer script or other control member")
        ->option_text("NAME=FILE")
        ->allow_extra_args(false);
    verb.add_option("--conffile", choices.conffiles, "Mark a path as configuration")
        ->option_text("PATH")
        ->allow_extra_args(false);
    constexpr const char* treeRow = "Keep owners instead of root; leave out sockets, FIFOs and devices";
    verb.add_flag("--keep-owner", choices.keepOwner, "Keep owners instead of root")->group(treeRow);
    verb.add_flag("--skip-special", choices.skipSpecial, "Leave out special files")->group(treeRow);
}

void addOutputOptions(CLI::App& verb, BuildChoices& choices) {
    constexpr const char* compressionRow = "gzip 0-12 (6), zstd 1-19 (3), xz 0-9 (6), none";
    addChoice<Compression>(verb, "--compression", "How to compress",
                           {{"gzip", Compression::gzip},
                            {"zstd", Compression::zstd},
                            {"xz", Compression::xz},
                            {"none", Compression::none}},
                           [&choices](Compression kind) { choices.compression = kind; })
        ->option_text("KIND")
        ->group(compressionRow);
    verb.add_option("--level", choices.level, "How hard to compress")->option_text("N")->group(compressionRow);
    verb.add_flag("--no-md5sums", choices.noMd5sums, "Make no md5sums");
    CLI::Option* dryRun = verb.add_flag("--dry-run", choices.dryRun, "Only list what would go in");
    verb.add_flag("--check", choices.check, "Read the result back and compare before it appears")
        ->excludes(dryRun);
}

}  // namespace

void addBuild(CLI::App& program, Action& chosen) {
    const auto choices = std::make_shared<BuildChoices>();
    CLI::App* verb = program.add_subcommand("build", "Package a tree");
    verb->add_option("TREE", choices->tree, "The folder to package; its DEBIAN is taken as by dpkg-deb")
        ->required();
    verb->add_option("OUT", choices->out, "The package, or a folder for it; - is standard output");
    addFieldOptions(*verb, *choices);
    addPayloadOptions(*verb, *choices);
    addOutputOptions(*verb, *choices);
    verb->footer("Example: bex build site --prefix var/www --control site.control");
    onChosen(*verb, choices, chosen, runBuild);
}

}  // namespace bex::tool

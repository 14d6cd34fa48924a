#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "output/Failure.hpp"
#include "output/Interrupt.hpp"
#include "output/ProgressBar.hpp"
#include "verbs/BuildArguments.hpp"
#include "verbs/BuildDependencies.hpp"
#include "verbs/BuildFiles.hpp"
#include "verbs/BuildInputs.hpp"
#include "verbs/BuildOptions.hpp"
#include "verbs/BuildPlan.hpp"
#include "verbs/BuildTarget.hpp"
#include "verbs/DebugPackage.hpp"
#include "verbs/PackageNotes.hpp"
#include "verbs/Strip.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

using stream::PackageWriter;
using stream::WriteOptions;
using stream::WriteResult;

namespace {

// The name that bex init gives.
constexpr const char* kUsualBuildFile = "nfpm.yaml";

/// Standard output as the target of a package.
/// Bytes go through the console, whose buffer they share with nothing else here.
class OutputSink : public stream::Sink {
public:
    // The console outlives the sink: it belongs to the context.
    explicit OutputSink(Console& console) : console_(console) {}
    void write(const char* data, std::size_t size) override { console_.out({data, size}); }

private:
    Console& console_;
};

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
    // Printed when all is known to be right: entries come before everything was checked.
    BuildPlan plan;
    plan.collectFrom(options);
    const WriteResult result = writeTo(target, writer, options, context);
    if (context.json) {
        context.console.out(plan.json(target, options.trailing, result));
    } else {
        context.console.out(plan.lines());
        for (const stream::TrailingMember& member : options.trailing) {
            context.console.note("member " + member.name + " follows the data member");
        }
    }
    printNotes(target, result.notes, context);
    return ExitStatus::done;
}

ExitStatus write(const PackageWriter& writer, const std::string& target, WriteOptions& options, Context& context) {
    if (context.verbosity > 0) {
        options.onEntry = [&context](const stream::Entry& entry) {
            context.console.note(stream::escapeForDisplay(entry.path));
        };
    }
    if (target.empty()) {
        // The package itself goes to standard output: a reader that leaves early has not got it.
        context.whenClosed = ExitStatus::inputOutput;
    }
    const WriteResult result = writeTo(target, writer, options, context);
    if (target.empty()) {
        printNotes(target, result.notes, context);
    } else {
        printWritten(target, result, context);
    }
    return ExitStatus::done;
}

WriteOptions writeOptions(const BuildArguments& arguments, const Context& context) {
    WriteOptions options;
    // By now the build file has had its word: see openBuildFile().
    options.compression = arguments.compression.value_or(stream::Compression::gzip);
    options.level = arguments.level;
    options.commonTime = arguments.time;
    options.threads = context.threads;
    options.md5sums = !arguments.noMd5sums;
    options.index = !arguments.noIndex;
    options.singleStream = arguments.singleStream;
    options.keepOwner = arguments.keepOwner;
    options.normalizeModes = arguments.normalizeModes;
    options.check = arguments.check;
    options.dryRun = arguments.dryRun;
    return options;
}

/// Refuses what would mix with the package's bytes, or needs a file beside it. A dry run writes no package.
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
        throw UsageError("OUT is - and standard output is a terminal, which can't receive a package");
    }
}

/// Without a tree a package may still have a name and a payload, or no payload at all.
void requireSource(const BuildArguments& arguments) {
    if (arguments.tree.empty() && arguments.buildFile.empty() && arguments.controlFile.empty() &&
        arguments.fields.empty() && arguments.namedFields.empty()) {
        std::string message = "TREE is missing, and no option says what to package";
        if (std::filesystem::exists(kUsualBuildFile)) {
            message += std::string("; -f ") + kUsualBuildFile + " builds what that file describes";
        }
        throw UsageError(message);
    }
}

/// Before the package itself: a package that is there has its symbols beside it.
void writeDebugPackage(const PackageWriter& writer, const StrippedFiles& stripped, const std::string& target,
                       const WriteOptions& options, Context& context) {
    // The writer of the package itself refuses a faulty paragraph, and names all its faults.
    if (stripped.debugFiles().empty() || !writer.control().faults().empty()) {
        return;
    }
    PackageWriter debug;
    fillDebugPackage(writer.control(), stripped, debug);
    const std::string path = debugTarget(target, writer.control());
    const WriteResult result = debug.write(path, options);
    printWritten(path, result, context);
}

ExitStatus runBuild(BuildArguments& arguments, Context& context) {
    // The order matters: arguments are settled first, since nothing may be read for a wrong command line.
    settleBuildFile(arguments);
    requireSource(arguments);
    // From here on a signal ends the work by an error, and temporary files are removed.
    catchInterrupts();
    PackageWriter writer;
    fillControl(arguments, writer);
    // After the options' fields, which win over those of the file, and before what --strip and --compression mean.
    const auto buildFile = openBuildFile(arguments, writer.control(), context);
    requireUsableOutput(arguments, context);
    settleArchitecture(writer.control());
    // Before the payload: an earlier package at that path is not packaged. Dependencies are not known yet, so
    // their variable is left out of the copy; it would be a fault of the paragraph.
    const std::string target = targetPath(arguments.out, arguments.suffix, withoutVariable(writer.control()));
    // Outlives the writing: the writer reads its copies then.
    StrippedFiles stripped(arguments.strip.value_or(StripKind::none), arguments.keepOwner, context);
    Payload payload(writer, stripped);
    if (buildFile != nullptr) {
        payload.addBuildFile(*buildFile);
    }
    addContents(arguments, target, payload, context);
    // Needs the whole payload, and comes before the writing: the control archive is the first to be written.
    const ExitStatus found = fillDependencies(payload.files(), arguments.shlibs, writer.control(), context);
    if (found != ExitStatus::done) {
        return found;
    }
    ProgressBar progress(context, "packing");
    WriteOptions options = writeOptions(arguments, context);
    options.progress = progress.callback();
    if (buildFile != nullptr) {
        options.trailing = buildFile->trailingMembers();
    }
    if (arguments.dryRun) {
        return pretend(writer, target, options, context);
    }
    writeDebugPackage(writer, stripped, target, options, context);
    return write(writer, target, options, context);
}

}  // namespace

void addBuild(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<BuildArguments>();
    addBuildOptions(*verb, *arguments);
    verb->footer("Example: bex build site --prefix var/www --control site.control");
    onChosen(*verb, arguments, chosen, runBuild);
}

}  // namespace bex::tool

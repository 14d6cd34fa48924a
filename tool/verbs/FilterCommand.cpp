#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "arguments/CompressionOptions.hpp"
#include "arguments/FindingCodes.hpp"
#include "bex/stream/Escape.hpp"
#include "bex/stream/PackageEditor.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "output/Failure.hpp"
#include "output/Interrupt.hpp"
#include "output/ProgressBar.hpp"
#include "verbs/BuildInputs.hpp"
#include "verbs/BuildTarget.hpp"
#include "verbs/EditedPackage.hpp"
#include "verbs/PackageNotes.hpp"
#include "verbs/Patterns.hpp"
#include "verbs/Payload.hpp"
#include "verbs/Strip.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

using stream::Compression;
using stream::PackageWriter;

namespace {

struct FilterArguments {
    std::string package;
    std::string out;
    std::vector<std::string> deletions;  ///< GLOB
    BuildArguments additions;            ///< and rules
    std::optional<Compression> compression;
    std::optional<int> level;
    std::vector<std::string> allowed;
    bool check = false;
};

/// As the payload was; bzip2 is not written.
Compression usualCompression(const stream::PackageEditor& editor) {
    for (const auto& member : editor.members()) {
        // A package has one data member: deb(5).
        if (member.name.rfind("data.tar", 0) == 0 && member.compression != Compression::bzip2) {
            return member.compression;
        }
    }
    return Compression::gzip;
}

/// A conffile whose file was deleted stays one where another file is added in its place.
void settleConffiles(const std::vector<std::string>& leftOut, PackageWriter& writer, Context& context) {
    if (leftOut.empty()) {
        return;
    }
    // From the plan, which has what was added as well as what was kept.
    std::set<std::string> files;
    for (const auto& entry : writer.plan()) {
        files.insert(stream::plainPath(entry.path));
    }
    for (const auto& path : leftOut) {
        if (files.count(path) != 0) {
            writer.addConffile(path);
        } else {
            context.console.note("conffiles: left out /" + stream::escapeForDisplay(path) + " with its file");
        }
    }
}

/// An error and not a note: a package that still has what was to be deleted must not be written.
void requireUsed(const Patterns& deletions, const std::string& package) {
    const std::vector<std::string> unused = deletions.unused();
    if (!unused.empty()) {
        throw UsageError(stream::escapeForDisplay(package) + ": nothing matches " +
                         stream::escapeForDisplay(unused.front()));
    }
}

/// What is added comes first: of a directory in both, the package's attributes stay.
void fill(FilterArguments& arguments, const stream::PackageEditor& editor, PackageWriter& writer,
          Context& context) {
    // Payload wants one; of this kind it makes no copies and no directory.
    StrippedFiles asTheyAre(StripKind::none, false, context);
    Payload added(writer, asTheyAre);
    addContents(arguments.additions, "", added, context);
    Patterns deletions(arguments.deletions);
    const auto keep = [&](const stream::Entry& entry) {
        // Patterns without any pattern choose everything, which here would delete everything.
        return arguments.deletions.empty() || !deletions.choose(entry);
    };
    const std::vector<std::string> leftOut = editor.copyTo(writer, keep);
    requireUsed(deletions, arguments.package);
    settleConffiles(leftOut, writer, context);
}

ExitStatus runFilter(FilterArguments& arguments, Context& context) {
    requirePackageFile(arguments.package, "PKG");
    requirePackageFile(arguments.out, "OUT");
    catchInterrupts();
    ProgressBar progress(context, "filtering");
    stream::EditOptions reading = editOptions(context);
    reading.allow = arguments.allowed;
    reading.progress = progress.callback();
    stream::PackageEditor editor(arguments.package, reading);
    PackageWriter writer;
    fill(arguments, editor, writer, context);
    stream::WriteOptions options;
    options.compression = arguments.compression.value_or(usualCompression(editor));
    options.level = arguments.level;
    options.threads = context.threads;
    options.check = arguments.check;
    // The field comes from the old package and counts what was deleted.
    options.renewInstalledSize = true;
    options.progress = progress.callback();
    const std::string target = targetPath(arguments.out, packageSuffix(arguments.package), writer.control());
    printWritten(target, writer.write(target, options), context);
    return ExitStatus::done;
}

}  // namespace

void addFilter(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<FilterArguments>();
    const auto addList = [verb](const char* name, std::vector<std::string>& values, const char* form,
                                const char* description) {
        verb->add_option(name, values, description)->option_text(form)->allow_extra_args(false);
    };
    verb->add_option("PKG", arguments->package, "The package, a file")->required();
    verb->add_option("-o,--out", arguments->out, "The new package, or a directory for it")
        ->option_text("OUT")
        ->required();
    addList("--delete", arguments->deletions, "GLOB", "Leave out what matches and everything in it");
    addList("--add", arguments->additions.additions, "SRC:DST", "Add a file or directory");
    addList("--mode", arguments->additions.modes, "GLOB=0755", "Set the mode of what matches");
    addList("--owner", arguments->additions.owners, "GLOB=USER:GROUP", "Set the owner of what matches");
    addCompressionOptions(
        *verb, [arguments](Compression kind) { arguments->compression = kind; },
        [arguments](int level) { arguments->level = level; });
    addFindingCodes(*verb, "--allow", "Accept errors with this code of bex verify", arguments->allowed);
    verb->add_flag("--check", arguments->check, "Read the result back and compare before it appears");
    verb->footer("Example: bex filter big.deb -o small.deb --delete 'usr/share/doc/*'");
    onChosen(*verb, arguments, chosen, runFilter);
}

}  // namespace bex::tool

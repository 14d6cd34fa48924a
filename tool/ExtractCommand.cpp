#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Failure.hpp"
#include "Input.hpp"
#include "Interrupt.hpp"
#include "Patterns.hpp"
#include "ProgressBar.hpp"
#include "Verb.hpp"
#include "bex/stream/Escape.hpp"

namespace bex::tool {

using stream::Entry;

namespace {

struct ExtractChoices {
    std::string package;
    std::optional<std::string> directory;
    std::vector<std::string> patterns;
    stream::ExtractOptions extract;
    bool control = false;
};

stream::ExtractOptions extractOptions(const ExtractChoices& choices, Patterns& patterns, Context& context) {
    stream::ExtractOptions options = choices.extract;
    options.select = [&patterns](const Entry& entry) { return patterns.choose(entry); };
    const bool dryRun = options.dryRun;
    if (dryRun || context.verbosity > 0) {
        options.onEntry = [dryRun, &console = context.console](const Entry&, const std::string& path) {
            const std::string line = stream::escapeForDisplay(path);
            if (dryRun) {
                console.out(line + "\n");
            } else {
                console.note(line);
            }
        };
    }
    return options;
}

/// Where the entries go. The library makes the folder itself, this what has to stand above it.
std::string destination(const ExtractChoices& choices) {
    if (!choices.directory) {
        return choices.control ? "DEBIAN" : ".";
    }
    if (choices.directory->empty()) {
        throw UsageError("DIR is empty; . is the current directory");  // An unset variable of a script, as a rule.
    }
    const auto parent = std::filesystem::path(*choices.directory).lexically_normal().parent_path();
    if (!parent.empty() && !choices.extract.dryRun) {
        std::filesystem::create_directories(parent);
    }
    return *choices.directory;
}

ExitStatus runExtract(ExtractChoices& choices, Context& context) {
    catchInterrupts();
    ProgressBar progress(context, "extracting");
    stream::ReadOptions reading = readOptions(context);
    reading.progress = progress.callback();
    stream::PackageReader reader = openPackage(choices.package, reading);
    progress.expect(reader.control());
    Patterns patterns(choices.patterns);
    const stream::ExtractOptions options = extractOptions(choices, patterns, context);
    if (choices.control) {
        reader.extractControl(destination(choices), options);
    } else {
        reader.extract(destination(choices), options);
    }
    return reportUnused(patterns, choices.package, context);
}

}  // namespace

void addExtract(CLI::App& program, Action& chosen) {
    const auto choices = std::make_shared<ExtractChoices>();
    CLI::App* verb = program.add_subcommand("extract", "Extract the payload");
    addPackageArgument(*verb, choices->package);
    verb->add_option("DIR", choices->directory,
                     "Where to, made if need be; here (DEBIAN with --control) if not given");
    verb->add_option("PATTERN", choices->patterns,
                     "Only what matches (glob; a directory stands for all below it)");
    verb->add_flag("--control", choices->control, "Extract the control members instead");
    verb->add_option("--strip", choices->extract.stripComponents,
                     "Leave out so many leading directories of each path")
        ->option_text("N");
    CLI::Option* keep =
        verb->add_flag("--keep", choices->extract.keepExisting, "Fail where a file is there already");
    verb->add_flag("--overwrite{false}", choices->extract.keepExisting,
                   "Replace files that are there (the default)")
        ->excludes(keep);
    verb->add_flag("--same-owner", choices->extract.sameOwner, "Restore owners by number (needs privileges)");
    verb->add_flag("--keep-setuid", choices->extract.keepSetId, "Keep set-user-id and set-group-id bits");
    verb->add_flag("--dry-run", choices->extract.dryRun, "Only list what would be made");
    verb->footer("Example: bex extract hello_1.0_amd64.bex out 'usr/share/doc'");
    onChosen(*verb, choices, chosen, runExtract);
}

}  // namespace bex::tool

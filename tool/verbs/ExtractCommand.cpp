#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "arguments/Number.hpp"
#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "output/Interrupt.hpp"
#include "output/Json.hpp"
#include "output/ProgressBar.hpp"
#include "verbs/Input.hpp"
#include "verbs/Patterns.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

using stream::Entry;

namespace {

struct ExtractArguments {
    std::string package;
    std::optional<std::string> directory;
    std::vector<std::string> patterns;
    stream::ExtractOptions extract;
    bool control = false;
    bool index = false;
};

/// With --dry-run, what would be made is printed or, with --json, goes to `listed`; with -v it is noted.
stream::ExtractOptions extractOptions(const ExtractArguments& arguments, Patterns& patterns, Json& listed,
                                      Context& context) {
    stream::ExtractOptions options = arguments.extract;
    // References: patterns and list outlive the extraction, and tell afterwards what was chosen.
    options.select = [&patterns](const Entry& entry) { return patterns.choose(entry); };
    const bool dryRun = options.dryRun;
    if (dryRun || context.verbosity > 0) {
        options.onEntry = [dryRun, &listed, &context](const Entry&, const std::string& path) {
            const std::string line = stream::escapeForDisplay(path);
            if (!dryRun) {
                context.console.note(line);
            } else if (context.json) {
                Json item = Json::object();
                putText(item, "path", path);
                listed.push_back(std::move(item));
            } else {
                context.console.out(line + "\n");
            }
        };
    }
    return options;
}

/// The directory to extract into. The library makes it; its parents are made here.
std::string destination(const ExtractArguments& arguments) {
    if (!arguments.directory) {
        return arguments.control ? "DEBIAN" : ".";
    }
    if (arguments.directory->empty()) {
        throw UsageError("DIR is empty; . is the current directory");  // An unset variable of a script, as a rule.
    }
    // By the text alone: "a/b/" has the parent "a/b", which is then the directory itself, and that is right too.
    const auto parent = std::filesystem::path(*arguments.directory).lexically_normal().parent_path();
    if (!parent.empty() && !arguments.extract.dryRun) {
        std::filesystem::create_directories(parent);
    }
    return *arguments.directory;
}

/// One object on standard output; the entries themselves are listed only with --dry-run.
void printJson(const ExtractArguments& arguments, const stream::ExtractResult& result, Json listed,
               Console& console) {
    Json object = {{"schema", 1}};
    putText(object, "package", arguments.package);
    if (arguments.index) {
        object["source"] = "index";
    }
    if (arguments.extract.dryRun) {
        object["paths"] = std::move(listed);
    }
    object["entries"] = result.entries;
    object["bytes"] = result.bytes;
    console.out(jsonText(object));
}

/// The package is opened before the directory is made: a package that cannot be read leaves nothing behind.
stream::ExtractResult extractAs(const ExtractArguments& arguments, const stream::ReadOptions& reading,
                                const stream::ExtractOptions& options, Context& context) {
    if (arguments.index) {
        return openIndexed(arguments.package, reading, context).extract(destination(arguments), options);
    }
    if (arguments.control) {
        return openFront(arguments.package, reading, context).extractControl(destination(arguments), options);
    }
    return openWhole(arguments.package, reading, context).extract(destination(arguments), options);
}

ExitStatus runExtract(ExtractArguments& arguments, Context& context) {
    // Reading everything needs no index, and from front to back all of it is checked too.
    if (arguments.index && arguments.patterns.empty()) {
        throw UsageError("--index needs a PATTERN");
    }
    catchInterrupts();
    ProgressBar progress(context, "extracting");
    stream::ReadOptions reading = readOptions(context);
    reading.progress = progress.callback();
    Patterns patterns(arguments.patterns);
    Json listed = Json::array();
    const stream::ExtractOptions options = extractOptions(arguments, patterns, listed, context);
    const stream::ExtractResult result = extractAs(arguments, reading, options, context);
    if (context.json) {
        printJson(arguments, result, std::move(listed), context.console);
    }
    return reportUnused(patterns, arguments.package, context);
}

/// Both flags set one value; with both, the command line is refused.
void addExistingOptions(CLI::App& verb, stream::Existing& existing) {
    CLI::Option* keep = verb.add_flag_callback(
        "--keep", [&existing] { existing = stream::Existing::error; }, "Fail if a file exists already");
    verb.add_flag_callback(
            "--overwrite", [&existing] { existing = stream::Existing::replace; },
            "Replace existing files (the default)")
        ->excludes(keep);
}

}  // namespace

void addExtract(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<ExtractArguments>();
    addPackageArgument(*verb, arguments->package);
    verb->add_option("DIR", arguments->directory, "The destination; default: here, or DEBIAN with --control");
    verb->add_option("PATTERN", arguments->patterns,
                     "Only what matches (glob; a directory means everything in it)");
    CLI::Option* control = verb->add_flag("--control", arguments->control, "Extract the control members instead");
    addIndexOption(*verb, arguments->index)->excludes(control);
    addNumber<unsigned>(*verb, "--strip", "Remove this many leading directories from each path",
                        [&extract = arguments->extract](unsigned count) { extract.stripComponents = count; });
    addExistingOptions(*verb, arguments->extract.existing);
    verb->add_flag("--same-owner", arguments->extract.sameOwner, "Restore owners by number (needs privileges)");
    verb->add_flag("--keep-setuid", arguments->extract.keepSetId, "Keep set-user-id and set-group-id bits");
    verb->add_flag("--dry-run", arguments->extract.dryRun, "Only list what would be extracted");
    verb->footer("Example: bex extract hello_1.0_amd64.bex out 'usr/share/doc'");
    onChosen(*verb, arguments, chosen, runExtract);
}

}  // namespace bex::tool

#include "verbs/BuildOptions.hpp"

#include <string>
#include <utility>
#include <vector>

#include "arguments/Choice.hpp"
#include "arguments/CompressionOptions.hpp"
#include "verbs/BuildDependencies.hpp"

namespace bex::tool {

namespace {

/// An option that may be given several times, one value each: without allow_extra_args(false) it would take the
/// arguments after it as further values.
CLI::Option* addList(CLI::App& verb, const char* name, std::vector<std::string>& values, const char* form,
                     const char* description) {
    return verb.add_option(name, values, description)->option_text(form)->allow_extra_args(false);
}

void addPlaces(CLI::App& verb, BuildArguments& arguments) {
    // Neither is required here: what is missing depends on other options, which requireSource() knows.
    verb.add_option("TREE", arguments.tree, "The directory to package; DEBIAN in it as for dpkg-deb");
    CLI::Option* out = verb.add_option(
        "OUT", arguments.out,
        "The package, or a directory for it; - is standard output; may contain {name}, {version}, {arch}");
    verb.add_option("-o,--out", arguments.out, "OUT, if there is no TREE")->option_text("OUT")->excludes(out);
    verb.add_option("-f,--file", arguments.buildFile, "Build what this file describes (nfpm.yaml); no TREE then")
        ->option_text("FILE");
    verb.add_option("--suffix", arguments.suffix, "Suffix of the package's usual name (bex)")->option_text("WORD");
}

void addFieldOptions(CLI::App& verb, BuildArguments& arguments) {
    verb.add_option("--control", arguments.controlFile, "Control paragraph, instead of TREE/DEBIAN/control")
        ->option_text("FILE");
    addList(verb, "--field", arguments.fields, "NAME=VALUE", "Set a field");
    // Debian Policy 5.3: the fields of binary packages that people set; --field sets any other.
    const std::pair<const char*, const char*> named[] = {{"--name", "Package"},
                                                         {"--version", "Version"},
                                                         {"--arch", "Architecture"},
                                                         {"--description", "Description"},
                                                         {"--maintainer", "Maintainer"},
                                                         {"--depends", "Depends"},
                                                         {"--pre-depends", "Pre-Depends"},
                                                         {"--recommends", "Recommends"},
                                                         {"--suggests", "Suggests"},
                                                         {"--enhances", "Enhances"},
                                                         {"--breaks", "Breaks"},
                                                         {"--conflicts", "Conflicts"},
                                                         {"--replaces", "Replaces"},
                                                         {"--provides", "Provides"},
                                                         {"--section", "Section"},
                                                         {"--priority", "Priority"},
                                                         {"--homepage", "Homepage"},
                                                         {"--multi-arch", "Multi-Arch"},
                                                         {"--source", "Source"}};
    for (const auto& [option, field] : named) {
        verb.add_option_function<std::string>(
                option,
                // A copy of the name: a lambda cannot capture a structured binding in C++17.
                [&arguments, name = field](const std::string& value) {
                    arguments.namedFields.emplace_back(name, withVariable(name, value));
                },
                std::string("Set ") + field)
            ->option_text("TEXT")
            ->group("Set Package, Version and so on");
    }
}

void addLibraryOptions(CLI::App& verb, BuildArguments& arguments) {
    // The same options as those of shlibdeps, with the same meaning.
    constexpr const char* row = "Where --depends auto finds libraries; see shlibdeps";
    addList(verb, "--from", arguments.shlibs.from, "DIR", "Take symbols and shlibs from packages")->group(row);
    addList(verb, "--libdir", arguments.shlibs.libdirs, "DIR", "Search here for private libraries")->group(row);
    verb.add_option("--sysroot", arguments.shlibs.sysroot, "Use this directory as /")
        ->option_text("DIR")
        ->group(row);
    verb.add_option("--admindir", arguments.shlibs.admindir, "The directory of dpkg's database")
        ->option_text("DIR")
        ->group(row);
    verb.add_flag("--ignore-missing", arguments.shlibs.ignoreMissing, "Only note missing libraries")->group(row);
}

void addPayloadOptions(CLI::App& verb, BuildArguments& arguments) {
    verb.add_option("--prefix", arguments.prefix, "Put the tree below this directory of the package")
        ->option_text("DIR");
    addList(verb, "--exclude", arguments.exclusions, "GLOB", "Leave out what matches");
    constexpr const char* additionRow = "Add files, links, directories, standard input";
    addList(verb, "--add", arguments.additions, "SRC:DST", "Add a file or directory")->group(additionRow);
    addList(verb, "--symlink", arguments.symlinks, "TARGET:PATH", "Add a symlink")->group(additionRow);
    addList(verb, "--dir", arguments.directories, "PATH", "Add an empty directory")->group(additionRow);
    verb.add_option("--stdin", arguments.standardInput, "Add standard input under this path")
        ->option_text("PATH")
        ->group(additionRow);
    constexpr const char* ruleRow = "Set what matches";
    addList(verb, "--mode", arguments.modes, "GLOB=0755", "Set the mode of what matches")->group(ruleRow);
    addList(verb, "--owner", arguments.owners, "GLOB=USER:GROUP", "Set the owner of what matches")->group(ruleRow);
    addChoice<StripKind>(verb, "--strip", "Strip symbols: none, drop, or dbgsym into a package",
                         {{"none", StripKind::none}, {"drop", StripKind::drop}, {"dbgsym", StripKind::dbgsym}},
                         [&arguments](StripKind kind) { arguments.strip = kind; })
        ->option_text("KIND");
    constexpr const char* treeRow = "Keep owners, set modes 0755 and 0644, leave out devices";
    verb.add_flag("--keep-owner", arguments.keepOwner, "Keep owners instead of root")->group(treeRow);
    verb.add_flag("--normalize-modes", arguments.normalizeModes, "Modes 0755 and 0644")->group(treeRow);
    verb.add_flag("--skip-special", arguments.skipSpecial, "Leave out special files")->group(treeRow);
}

void addControlOptions(CLI::App& verb, BuildArguments& arguments) {
    constexpr const char* scriptRow = "Add a maintainer script or other control member";
    addList(verb, "--script", arguments.scripts, "NAME=FILE", scriptRow)->group(scriptRow);
    // Short forms of --script: both end up in one list, in the order of the command line.
    for (const char* member : {"preinst", "postinst", "prerm", "postrm", "config", "templates", "triggers"}) {
        verb.add_option_function<std::string>(
                std::string("--") + member,
                [&arguments, member](const std::string& file) {
                    arguments.scripts.push_back(std::string(member) + "=" + file);
                },
                std::string("Add the control member ") + member)
            ->option_text("FILE")
            ->group(scriptRow);
    }
    constexpr const char* conffileRow = "Mark a file, or all files of a directory, as configuration";
    addList(verb, "--conffile", arguments.conffiles, "PATH", "Mark a path as configuration")->group(conffileRow);
    addList(verb, "--conffiles-below", arguments.conffileTrees, "PATH", "Mark all files below it as configuration")
        ->group(conffileRow);
}

/// How the package is written; what it holds does not depend on any of these.
void addOutputOptions(CLI::App& verb, BuildArguments& arguments) {
    addCompressionOptions(
        verb, [&arguments](stream::Compression kind) { arguments.compression = kind; },
        [&arguments](int level) { arguments.level = level; });
    constexpr const char* gzipRow = "gzip: no index after the payload; one stream for each archive";
    verb.add_flag("--no-index", arguments.noIndex, "Write no index after the payload")->group(gzipRow);
    verb.add_flag("--single-stream", arguments.singleStream,
                  "One gzip stream, for readers that stop after the first")
        ->group(gzipRow);
    constexpr const char* flagRow = "Make no md5sums; only list; compare the result before it appears";
    verb.add_flag("--no-md5sums", arguments.noMd5sums, "Make no md5sums")->group(flagRow);
    // A dry run has no result that could be compared, so that --check excludes it.
    CLI::Option* dryRun =
        verb.add_flag("--dry-run", arguments.dryRun, "Only list what would be packaged")->group(flagRow);
    verb.add_flag("--check", arguments.check, "Read the result back and compare before it appears")
        ->excludes(dryRun)
        ->group(flagRow);
}

}  // namespace

// The order of the calls is the order of the help.
void addBuildOptions(CLI::App& verb, BuildArguments& arguments) {
    addPlaces(verb, arguments);
    addFieldOptions(verb, arguments);
    addLibraryOptions(verb, arguments);
    addPayloadOptions(verb, arguments);
    addControlOptions(verb, arguments);
    addOutputOptions(verb, arguments);
}

}  // namespace bex::tool

#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "arguments/Choice.hpp"
#include "arguments/CompressionOptions.hpp"
#include "arguments/FindingCodes.hpp"
#include "bex/stream/Escape.hpp"
#include "bex/stream/PackageEditor.hpp"
#include "output/Failure.hpp"
#include "output/Interrupt.hpp"
#include "output/ProgressBar.hpp"
#include "verbs/EditedPackage.hpp"
#include "verbs/ForEachPackage.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

namespace fs = std::filesystem;
using stream::Compression;

namespace {

/// What dpkg of a release reads, besides gzip, xz and no compression, and what packages for it are best packed
/// with.
struct Release {
    const char* name;
    bool readsZstd;
    Compression usual;
};

/// dpkg reads zstd since 1.21.18; Debian 11 has 1.20. Its own packages have xz.
constexpr Release kReleases[] = {{"debian-11", false, Compression::xz}, {"debian-12", true, Compression::zstd}};

struct RepackArguments {
    std::vector<std::string> packages;
    std::string out;
    bool inPlace = false;
    std::optional<Compression> compression;
    std::optional<int> level;
    const Release* release = nullptr;
    std::vector<std::string> allowed;
    bool check = false;
    bool index = false;
    bool noIndex = false;
};

/// Throws UsageError where the options contradict each other or leave the compression open.
Compression compressionFor(const RepackArguments& arguments) {
    if (arguments.index && arguments.compression.value_or(Compression::gzip) != Compression::gzip) {
        throw UsageError("--index: only gzip has an index");
    }
    if (arguments.index) {
        return Compression::gzip;  // which every release reads
    }
    if (arguments.release == nullptr && !arguments.compression) {
        throw UsageError("--compression KIND or --for RELEASE is missing");
    }
    if (arguments.release == nullptr) {
        return *arguments.compression;
    }
    const Release& release = *arguments.release;
    if (arguments.compression == Compression::zstd && !release.readsZstd) {
        throw UsageError(std::string("--compression zstd: dpkg of ") + release.name + " does not read it");
    }
    return arguments.compression.value_or(release.usual);
}

/// Called twice for each package, before the first is written and when its turn comes: gives the same both times.
std::string targetOf(const std::string& package, const RepackArguments& arguments) {
    if (arguments.inPlace) {
        return package;
    }
    std::error_code ignored;
    // One new package: with several, requireUsable() refuses the name that they would share.
    if (!arguments.out.empty() && !fs::is_directory(arguments.out, ignored)) {
        return arguments.out;
    }
    std::string target = (fs::path(arguments.out) / fs::path(package).filename()).string();
    requireOther(target, package);
    return target;
}

/// Before anything is written.
void requireUsable(const RepackArguments& arguments) {
    requirePackageFile(arguments.out, "OUT");
    std::set<std::string> targets;
    for (const auto& package : arguments.packages) {
        requirePackageFile(package, "PKG");
        const std::string target = targetOf(package, arguments);
        if (!targets.insert(target).second) {
            throw UsageError(stream::escapeForDisplay(target) + " would be written twice");
        }
    }
}

ExitStatus runRepack(RepackArguments& arguments, Context& context) {
    // All that the command line alone can be wrong about comes first: nothing is written then.
    const stream::RepackOptions how{compressionFor(arguments), arguments.level, !arguments.noIndex};
    requireUsable(arguments);
    catchInterrupts();
    return forEachPackage(arguments.packages, context, [&](const std::string& package) {
        ProgressBar progress(context, "repacking");
        stream::EditOptions options = editOptions(context);
        options.allow = arguments.allowed;
        options.check = arguments.check;
        options.progress = progress.callback();
        const std::string target = targetOf(package, arguments);
        const stream::EditResult result = stream::PackageEditor(package, options).repack(target, how);
        printEdited(target, result, arguments.packages.size() > 1, context);
        return ExitStatus::done;
    });
}

}  // namespace

void addRepack(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<RepackArguments>();
    verb->add_option("PKG", arguments->packages, "The packages, files")->required();
    CLI::Option* out =
        verb->add_option("-o,--out", arguments->out, "Directory for the new packages, or the one new package")
            ->option_text("OUT");
    verb->add_flag("--in-place", arguments->inPlace, "Replace the packages themselves")->excludes(out);
    addCompressionOptions(
        *verb, [arguments](Compression kind) { arguments->compression = kind; },
        [arguments](int level) { arguments->level = level; });
    std::vector<std::pair<std::string, const Release*>> releases;
    for (const Release& release : kReleases) {
        releases.emplace_back(release.name, &release);
    }
    addChoice<const Release*>(*verb, "--for", "Compress for dpkg of this release: debian-11, debian-12", releases,
                              [arguments](const Release* release) { arguments->release = release; })
        ->option_text("RELEASE");
    CLI::Option* index = verb->add_flag("--index", arguments->index, "Compress with gzip and write an index");
    verb->add_flag("--no-index", arguments->noIndex, "Write no index after a gzip payload")->excludes(index);
    addFindingCodes(*verb, "--allow", "Accept errors with this code of bex verify", arguments->allowed);
    verb->add_flag("--check", arguments->check, "Read the result back and verify it before it appears");
    verb->footer("Example: bex repack *.deb -o old --for debian-11");
    onChosen(*verb, arguments, chosen, runRepack);
}

}  // namespace bex::tool

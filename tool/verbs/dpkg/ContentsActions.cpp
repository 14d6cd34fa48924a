#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "output/Failure.hpp"
#include "output/Interrupt.hpp"
#include "output/ProgressBar.hpp"
#include "verbs/Input.hpp"
#include "verbs/dpkg/Actions.hpp"
#include "verbs/dpkg/TarText.hpp"

namespace bex::tool {

using stream::Entry;

namespace {

/// Modes as stored, and owners where the system lets them be set.
stream::ExtractOptions extractOptions() {
    stream::ExtractOptions options;
    options.keepSetId = true;
    // As tar(1), which dpkg-deb calls: only root may give files away.
    options.sameOwner = geteuid() == 0;
    return options;
}

ExitStatus extractPayload(const DpkgRequest& request, bool listed, Context& context) {
    catchInterrupts();
    ProgressBar progress(context, "extracting");
    stream::ReadOptions reading = readOptions(context);
    reading.progress = progress.callback();
    stream::PackageReader reader = openPackage(request.arguments[0], reading);
    stream::ExtractOptions options = extractOptions();
    // Sets the user's locale for as long as it lives: names are shown as tar shows them.
    const TarText text;
    if (listed) {
        options.onEntry = [&console = context.console](const Entry& entry, const std::string&) {
            console.out(TarText::name(entry.path) + "\n");
        };
    }
    reader.extract(request.arguments[1], options);
    return ExitStatus::done;
}

/// The directory of the control members below an extracted payload; nothing may stand there.
std::string newControlDirectory(const std::string& tree) {
    std::string directory = tree + "/DEBIAN";
    struct stat status {};
    if (lstat(directory.c_str(), &status) == 0) {
        // The payload may have brought it, even as a symlink that leads elsewhere: nothing is written through it.
        throw systemError(directory, "create", EEXIST);
    }
    return directory;
}

}  // namespace

ExitStatus dpkgContents(const DpkgRequest& request, Context& context) {
    stream::PackageReader reader = openPackage(request.arguments.front(), readOptions(context));
    TarText text;
    for (Entry entry; reader.next(entry);) {
        context.console.out(text.line(entry));
    }
    return ExitStatus::done;
}

ExitStatus dpkgExtract(const DpkgRequest& request, Context& context) {
    return extractPayload(request, context.verbosity > 0, context);
}

ExitStatus dpkgExtractVerbosely(const DpkgRequest& request, Context& context) {
    return extractPayload(request, true, context);
}

ExitStatus dpkgExtractControl(const DpkgRequest& request, Context& context) {
    catchInterrupts();
    const stream::PackageReader reader = openPackage(request.arguments.front(), readOptions(context));
    reader.extractControl(request.arguments.size() > 1 ? request.arguments[1] : "DEBIAN", extractOptions());
    return ExitStatus::done;
}

ExitStatus dpkgExtractAll(const DpkgRequest& request, Context& context) {
    catchInterrupts();
    stream::PackageReader reader = openPackage(request.arguments[0], readOptions(context));
    // The payload first: it makes the directory, and a DEBIAN in it is refused before control members are written.
    reader.extract(request.arguments[1], extractOptions());
    reader.extractControl(newControlDirectory(request.arguments[1]), extractOptions());
    return ExitStatus::done;
}

}  // namespace bex::tool

#include <filesystem>
#include <string>

#include "bex/stream/Escape.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "output/Interrupt.hpp"
#include "output/ProgressBar.hpp"
#include "verbs/BuildInputs.hpp"
#include "verbs/dpkg/Actions.hpp"

namespace bex::tool {

namespace fs = std::filesystem;

namespace {

/// "NAME_VERSION_ARCHITECTURE.deb", the version without its epoch.
std::string fileName(const stream::ControlParagraph& control) {
    // The caller has seen that the paragraph has no faults, so that all three fields are there.
    const std::string& version = *control.find("Version");
    return *control.find("Package") + "_" + version.substr(version.find(':') + 1) + "_" +
           *control.find("Architecture") + ".deb";
}

/// Without an OUT, the package stands beside the tree.
std::string targetOf(const DpkgRequest& request, const stream::ControlParagraph& control) {
    if (request.arguments.size() == 1) {
        std::string tree = request.arguments.front();
        // "dir/" is "dir.deb", as for dpkg-deb(1), and not a hidden file in it.
        tree.erase(tree.find_last_not_of('/') + 1);
        return tree + ".deb";
    }
    const std::string& out = request.arguments.back();
    std::error_code failure;
    return fs::is_directory(out, failure) ? out + "/" + fileName(control) : out;
}

stream::WriteOptions writeOptions(const DpkgRequest& request, const Context& context) {
    stream::WriteOptions options;
    options.compression = request.compression;
    options.level = request.level;
    options.threads = context.threads;
    options.keepOwner = !request.rootOwnerGroup;
    // dpkg-deb packages what DEBIAN holds and adds nothing of its own.
    options.md5sums = false;
    options.installedSize = false;
    return options;
}

}  // namespace

ExitStatus dpkgBuild(const DpkgRequest& request, Context& context) {
    catchInterrupts();
    BuildArguments arguments;
    arguments.tree = request.arguments.front();
    arguments.noMd5sums = true;
    stream::PackageWriter writer;
    fillControl(arguments, writer);
    // A faulty paragraph has no name for the package: the writer refuses it before anything is written.
    const bool sound = writer.control().faults().empty();
    const std::string target = sound ? targetOf(request, writer.control()) : "unnamed";
    StrippedFiles unstripped(StripKind::none, arguments.keepOwner, context);
    Payload payload(writer, unstripped);
    addContents(arguments, target, payload, context);
    if (sound) {
        context.console.out("dpkg-deb: building package '" + *writer.control().find("Package") + "' in '" +
                            stream::escapeForDisplay(target) + "'.\n");
        // Before the work: whoever waits sees what is being done.
        context.console.flush();
    }
    ProgressBar progress(context, "packing");
    stream::WriteOptions options = writeOptions(request, context);
    options.progress = progress.callback();
    writer.write(target, options);  // Throws all faults of the control paragraph, where it has some.
    return ExitStatus::done;
}

}  // namespace bex::tool

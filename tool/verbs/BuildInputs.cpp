#include "verbs/BuildInputs.hpp"

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "output/Interrupt.hpp"
#include "stream/base/Text.hpp"
#include "verbs/Exclusions.hpp"
#include "verbs/OptionValue.hpp"
#include "verbs/TreeFilter.hpp"

namespace bex::tool {

namespace fs = std::filesystem;
using stream::ErrorKind;
using stream::escapeForDisplay;
using stream::PackageWriter;
using stream::StreamError;

namespace {

/// Nothing but octal digits, to the end. Throws UsageError, which quotes the option as it was given.
std::uint32_t parseMode(const std::string& digits, const std::string& option) {
    const auto mode = stream::parseWhole<std::uint32_t>(digits, 8);
    if (!mode || *mode > 07777) {
        throw UsageError("--mode " + escapeForDisplay(option) +
                         ": must be GLOB=MODE with an octal mode up to 7777");
    }
    return *mode;
}

stream::Ownership parseOwner(const std::string& text, const std::string& option) {
    const std::size_t colon = text.find(':');
    // Neither side may be missing: "user:" means a login group elsewhere, which nobody here can know.
    if (colon == std::string::npos || colon == 0 || colon + 1 == text.size()) {
        throw UsageError("--owner " + escapeForDisplay(option) + ": takes GLOB=USER:GROUP");
    }
    return stream::ownershipOf(text.substr(0, colon), text.substr(colon + 1));
}

/// Splits "SRC:DST" at the first colon before which the name of something stands: either side may hold colons.
/// Where there is none, at the first colon.
std::pair<std::string, std::string> splitAddition(const std::string& addition) {
    std::error_code ignored;
    const std::size_t first = addition.find(':');
    std::size_t at = first;
    while (at != std::string::npos && !fs::exists(fs::symlink_status(addition.substr(0, at), ignored))) {
        at = addition.find(':', at + 1);
    }
    return split(addition, at != std::string::npos ? at : first, "--add", "SRC:DST");
}

/// SRC may be a directory, which is placed with everything below it at DST, or a file, which gets the name DST
/// (or, where DST ends in "/", its own name below it). A symlink that is named here is followed.
void addAddition(const std::string& addition, const BuildArguments& arguments, Exclusions& exclusions,
                 Payload& payload, const Context& context) {
    const auto [source, target] = splitAddition(addition);
    if (fs::is_directory(source)) {
        stream::TreeOptions options;
        options.prefix = target;
        options.skipSpecialFiles = arguments.skipSpecial;
        options.threads = context.threads;
        // The directory itself was named, so that its mode is meant too, unlike that of TREE.
        options.keepRootMode = true;
        options.filter = exclusions.filter(target);
        payload.addTree(source, options);
        return;
    }
    const bool below = target.empty() || target.back() == '/';
    payload.addFile(source, below ? target + fs::path(source).filename().string() : target);
}

/// Splits "TARGET:PATH" at the first colon before a slash, or else at the last one: either side may hold colons.
void addSymlink(const std::string& symlink, Payload& payload) {
    const std::size_t absolute = symlink.find(":/");
    const std::size_t at = absolute != std::string::npos ? absolute : symlink.rfind(':');
    const auto [target, path] = split(symlink, at, "--symlink", "TARGET:PATH");
    payload.addSymlink(target, path);
}

/// Reading ends early after an interrupt, which closes standard input: see catchInterrupts().
void addStandardInput(const std::string& path, PackageWriter& writer) {
    writer.addDescriptor(STDIN_FILENO, path);
    if (interrupted()) {
        throw StreamError(ErrorKind::cancelled, "standard input: interrupted");
    }
}

void addTree(const BuildArguments& arguments, const std::string& target, Exclusions& exclusions, Payload& payload,
             Context& context) {
    stream::TreeOptions options;
    options.prefix = arguments.prefix;
    options.skipSpecialFiles = arguments.skipSpecial;
    options.threads = context.threads;
    // The filter of the tree runs only for what no pattern excludes, so that its notes are about what would be
    // packaged.
    options.filter = exclusions.filter(
        arguments.prefix, TreeFilter(arguments.tree, target, payload.writer().control(), context.console));
    payload.addTree(arguments.tree, options);
}

void addPayload(const BuildArguments& arguments, const std::string& target, Payload& payload, Context& context) {
    // One object for all trees: a pattern is used when it matches in any of them.
    Exclusions exclusions(arguments.exclusions);
    if (!arguments.tree.empty()) {
        addTree(arguments, target, exclusions, payload, context);
    }
    for (const auto& addition : arguments.additions) {
        addAddition(addition, arguments, exclusions, payload, context);
    }
    // After the last tree; links and directories of the command line are not subject to --exclude.
    exclusions.noteUnused(context.console);
    for (const auto& symlink : arguments.symlinks) {
        addSymlink(symlink, payload);
    }
    for (const auto& directory : arguments.directories) {
        payload.writer().addDirectory(directory);
    }
    if (arguments.standardInput) {
        addStandardInput(*arguments.standardInput, payload.writer());
    }
}

/// The writer applies rules to the whole plan when it writes, so that their place among the calls does not matter.
void addRules(const BuildArguments& arguments, PackageWriter& writer) {
    for (const auto& mode : arguments.modes) {
        // The last "=": a pattern may hold one, a mode or owner may not.
        const auto [pattern, digits] = split(mode, mode.rfind('='), "--mode", "GLOB=MODE");
        writer.setMode(pattern, parseMode(digits, mode));
    }
    for (const auto& owner : arguments.owners) {
        const auto [pattern, names] = split(owner, owner.rfind('='), "--owner", "GLOB=USER:GROUP");
        writer.setOwner(pattern, parseOwner(names, owner));
    }
    for (const auto& path : arguments.conffiles) {
        writer.addConffile(path);
    }
    for (const auto& path : arguments.conffileTrees) {
        writer.addConffilesBelow(path);
    }
}

}  // namespace

void addContents(const BuildArguments& arguments, const std::string& target, Payload& payload, Context& context) {
    addPayload(arguments, target, payload, context);
    addControlMembers(arguments, payload.writer(), context);
    addRules(arguments, payload.writer());
}

}  // namespace bex::tool

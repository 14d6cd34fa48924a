#include "verbs/BuildInputs.hpp"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "output/Interrupt.hpp"
#include "verbs/ControlNames.hpp"
#include "verbs/TreeFilter.hpp"

namespace bex::tool {

namespace fs = std::filesystem;
using stream::ErrorKind;
using stream::escapeForDisplay;
using stream::PackageWriter;
using stream::StreamError;

namespace {

constexpr std::streamsize kPieceBytes = 16 * 1024;

StreamError unusable(const std::string& path, const std::string& reason) {
    return {ErrorKind::inputOutput, escapeForDisplay(path) + ": " + reason};
}

/// The whole file, or what comes out of a pipe. Throws StreamError (`inputOutput`).
std::string readFile(const std::string& path) {
    std::error_code failure;
    if (fs::is_directory(path, failure)) {
        throw unusable(path, "is a directory");
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string text;
    for (std::vector<char> piece(kPieceBytes); file.read(piece.data(), kPieceBytes) || file.gcount() > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(file.gcount()));
    }
    if (!file.is_open() || file.bad()) {
        throw unusable(path, errno != 0 ? std::strerror(errno) : "can't read it");
    }
    return text;
}

/// Splits "A=B" (or another separator) at that place.
std::pair<std::string, std::string> split(const std::string& text, std::size_t at, const char* option,
                                          const char* form) {
    if (at == std::string::npos || at == 0 || at + 1 > text.size()) {
        throw UsageError(std::string(option) + " " + escapeForDisplay(text) + ": takes " + form);
    }
    return {text.substr(0, at), text.substr(at + 1)};
}

/// Refuses a symlink and whatever is not a file: a tree describes itself and brings no file from elsewhere on the
/// machine into a package.
void requireFileItself(const std::string& path) {
    if (fs::symlink_status(path).type() != fs::file_type::regular) {
        throw unusable(path, "is not a regular file");
    }
}

/// NAME and FILE of each --script.
std::vector<std::pair<std::string, std::string>> namedScripts(const BuildArguments& arguments) {
    std::vector<std::pair<std::string, std::string>> scripts;
    for (const auto& script : arguments.scripts) {
        scripts.push_back(split(script, script.find('='), "--script", "NAME=FILE"));
    }
    return scripts;
}

/// Whether the tree has a directory that describes the package. Anything else of that name would be lost in
/// silence, since it is not payload either.
bool hasControlDirectory(const std::string& tree) {
    const fs::path path = fs::path(tree) / kControlDirectory;
    const fs::file_status status = fs::symlink_status(path);
    if (fs::exists(status) && !fs::is_directory(status)) {
        throw unusable(path.string(), "is not a directory");
    }
    return fs::is_directory(status);
}

/// The names in a directory, in an order that does not depend on the file system. Not by the standard library's
/// iterator: that ends the process where there is no memory, and names nothing where a name can't be read.
std::set<std::string> namesIn(const std::string& directory) {
    const auto requireGood = [&directory](bool good) {
        if (!good) {
            throw unusable(directory, std::strerror(errno));
        }
    };
    const std::unique_ptr<DIR, int (*)(DIR*)> names(opendir(directory.c_str()), closedir);
    requireGood(names != nullptr);
    std::set<std::string> found;
    errno = 0;
    while (const dirent* item = readdir(names.get())) {
        found.insert(item->d_name);
        errno = 0;
    }
    requireGood(errno == 0);
    found.erase(".");
    found.erase("..");
    return found;
}

void addMember(const std::string& name, std::string contents, PackageWriter& writer, Context& context) {
    writer.addControlMember(name, std::move(contents));
    noteUnknownMember(name, context.console);
}

/// What stands beside DEBIAN/control: scripts, conffiles, triggers and whatever else dpkg-deb would package. What
/// an option names, or is made elsewhere, is left out, and so is what an editor left behind.
void addControlDirectory(const BuildArguments& arguments, PackageWriter& writer, Context& context) {
    const fs::path directory = fs::path(arguments.tree) / kControlDirectory;
    std::set<std::string> elsewhere = {"control"};
    if (!arguments.noMd5sums) {
        elsewhere.insert("md5sums");
    }
    for (const auto& [name, file] : namedScripts(arguments)) {
        elsewhere.insert(name);
    }
    for (const auto& name : namesIn(directory.string())) {
        if (elsewhere.count(name) > 0 || isLeftover(name)) {
            continue;
        }
        const std::string path = (directory / name).string();
        requireFileItself(path);
        if (name == "conffiles") {
            writer.addConffiles(readFile(path));
        } else {
            addMember(name, readFile(path), writer, context);
        }
    }
}

stream::ControlParagraph parseControl(const std::string& path) {
    const std::string text = readFile(path);
    try {
        return stream::ControlParagraph::parse(text, path);
    } catch (const StreamError& e) {
        stream::ErrorRecord record = e.record();
        record.kind = ErrorKind::invalidInput;  // no package is damaged, the input is wrong
        throw StreamError(std::move(record));
    }
}

std::uint32_t parseMode(const std::string& digits, const std::string& option) {
    std::uint32_t mode = 0;
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), mode, 8);
    if (digits.empty() || parsed.ec != std::errc() || parsed.ptr != digits.data() + digits.size() ||
        mode > 07777) {
        throw UsageError("--mode " + escapeForDisplay(option) + ": takes GLOB=MODE with an octal mode up to 7777");
    }
    return mode;
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
void addAddition(const std::string& addition, const BuildArguments& arguments, PackageWriter& writer) {
    const auto [source, target] = splitAddition(addition);
    if (fs::is_directory(source)) {
        stream::TreeOptions options;
        options.prefix = target;
        options.skipSpecialFiles = arguments.skipSpecial;
        options.keepRootMode = true;
        writer.addTree(source, options);
        return;
    }
    const bool below = target.empty() || target.back() == '/';
    writer.addFile(source, below ? target + fs::path(source).filename().string() : target);
}

/// Reading ends early after an interrupt, which closes standard input: see catchInterrupts().
void addStandardInput(const std::string& path, PackageWriter& writer) {
    writer.addDescriptor(STDIN_FILENO, path);
    if (interrupted()) {
        throw StreamError(ErrorKind::cancelled, "standard input: interrupted");
    }
}

void addPayload(const BuildArguments& arguments, const std::string& target, PackageWriter& writer,
                Context& context) {
    stream::TreeOptions options;
    options.prefix = arguments.prefix;
    options.skipSpecialFiles = arguments.skipSpecial;
    options.filter = TreeFilter(arguments.tree, target, writer.control(), context.console);
    writer.addTree(arguments.tree, options);
    for (const auto& addition : arguments.additions) {
        addAddition(addition, arguments, writer);
    }
    if (arguments.standardInput) {
        addStandardInput(*arguments.standardInput, writer);
    }
    for (const auto& mode : arguments.modes) {
        const auto [pattern, digits] = split(mode, mode.rfind('='), "--mode", "GLOB=MODE");
        writer.setMode(pattern, parseMode(digits, mode));
    }
}

}  // namespace

void fillControl(const BuildArguments& arguments, PackageWriter& writer) {
    const fs::path inTree = fs::path(arguments.tree) / kControlDirectory / "control";
    std::string path = arguments.controlFile;
    if (path.empty() && hasControlDirectory(arguments.tree) && fs::exists(fs::symlink_status(inTree))) {
        path = inTree.string();
        requireFileItself(path);
    }
    if (!path.empty()) {
        writer.control() = parseControl(path);
    }
    for (const auto& [name, value] : arguments.namedFields) {
        writer.control().set(name, value);
    }
    for (const auto& field : arguments.fields) {
        const auto [name, value] = split(field, field.find('='), "--field", "NAME=VALUE");
        writer.control().set(name, value);
    }
}

void addContents(const BuildArguments& arguments, const std::string& target, PackageWriter& writer,
                 Context& context) {
    addPayload(arguments, target, writer, context);
    if (hasControlDirectory(arguments.tree)) {
        addControlDirectory(arguments, writer, context);
    }
    for (const auto& [name, path] : namedScripts(arguments)) {
        addMember(name, readFile(path), writer, context);
    }
    for (const auto& path : arguments.conffiles) {
        writer.addConffile(path);
    }
}

}  // namespace bex::tool

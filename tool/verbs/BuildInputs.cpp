#include "verbs/BuildInputs.hpp"

#include <dirent.h>

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

namespace bex::tool {

namespace fs = std::filesystem;
using stream::ErrorKind;
using stream::escapeForDisplay;
using stream::PackageWriter;
using stream::StreamError;

namespace {

/// The folder of a tree that holds what describes the package; it is no payload.
constexpr const char* controlFolder = "DEBIAN";
constexpr std::streamsize pieceBytes = 16 * 1024;

StreamError unusable(const std::string& path, const std::string& reason) {
    return {ErrorKind::inputOutput, escapeForDisplay(path) + ": " + reason};
}

/// The whole file, or what comes out of a pipe. Throws StreamError (`inputOutput`).
std::string readFile(const std::string& path) {
    std::error_code failure;
    if (fs::is_directory(path, failure)) {
        throw unusable(path, "is a folder");
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string text;
    for (std::vector<char> piece(pieceBytes); file.read(piece.data(), pieceBytes) || file.gcount() > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(file.gcount()));
    }
    if (!file.is_open() || file.bad()) {
        throw unusable(path, errno != 0 ? std::strerror(errno) : "can't read it");
    }
    return text;
}

/// Splits "A=B" (or another separator) at the first (or last) separator.
std::pair<std::string, std::string> split(const std::string& text, std::size_t at, const char* option,
                                          const char* form) {
    if (at == std::string::npos || at == 0 || at + 1 > text.size()) {
        throw UsageError(std::string(option) + " " + escapeForDisplay(text) + ": takes " + form);
    }
    return {text.substr(0, at), text.substr(at + 1)};
}

/// Lines of a conffiles member, blanks at their ends not counted: deb-conffiles(5).
void addConffiles(const std::string& text, PackageWriter& writer) {
    constexpr std::string_view removal = "remove-on-upgrade ";
    constexpr const char* blanks = " \t\r";
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        std::string line = text.substr(begin, end - begin);
        line.erase(line.find_last_not_of(blanks) + 1);
        if (line.rfind(removal, 0) == 0) {
            writer.addRemovedConffile(line.substr(line.find_first_not_of(blanks, removal.size())));
        } else if (!line.empty()) {
            writer.addConffile(line);
        }
        begin = end + 1;
    }
}

/// Refuses a symlink, or what is no file: what stands in a tree describes it by itself, it takes nothing from
/// elsewhere on the machine into a package.
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

/// Whether the tree has a folder that describes the package. Anything else of that name would be lost without a
/// word, being no payload either.
bool hasControlFolder(const std::string& tree) {
    const fs::path path = fs::path(tree) / controlFolder;
    const fs::file_status status = fs::symlink_status(path);
    if (fs::exists(status) && !fs::is_directory(status)) {
        throw unusable(path.string(), "is not a folder");
    }
    return fs::is_directory(status);
}

/// The names in a folder, in an order that does not depend on the file system. Not by the standard library's
/// iterator: that ends the process where there is no memory, and names nothing where a name can't be read.
std::set<std::string> namesIn(const std::string& folder) {
    const auto requireGood = [&folder](bool good) {
        if (!good) {
            throw unusable(folder, std::strerror(errno));
        }
    };
    const std::unique_ptr<DIR, int (*)(DIR*)> names(opendir(folder.c_str()), closedir);
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

/// What stands beside DEBIAN/control: scripts, conffiles, triggers and whatever else dpkg-deb would take. What an
/// option names, or is made elsewhere, is left out.
void addControlFolder(const fs::path& folder, const BuildArguments& arguments, PackageWriter& writer) {
    std::set<std::string> elsewhere = {"control"};
    if (!arguments.noMd5sums) {
        elsewhere.insert("md5sums");
    }
    for (const auto& [name, file] : namedScripts(arguments)) {
        elsewhere.insert(name);
    }
    const auto contents = [&folder](const std::string& name) {
        const std::string path = (folder / name).string();
        requireFileItself(path);
        return readFile(path);
    };
    for (const auto& name : namesIn(folder.string())) {
        if (elsewhere.count(name) > 0) {
            continue;
        }
        if (name == "conffiles") {
            addConffiles(contents(name), writer);
        } else {
            writer.addControlMember(name, contents(name));
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

/// Adds the tree with stripped copies in the place of the files that have one.
void addStrippedTree(const std::string& tree, stream::TreeOptions options, StrippedFiles& stripped,
                     PackageWriter& writer) {
    const std::string copies = stripped.copiesIn(tree, options.exclude);
    if (!copies.empty()) {
        writer.addTree(copies, {options.prefix, {}, false});  // First: of a directory, the tree's own counts.
    }
    writer.addTree(tree, options);
}

/// SRC may be a folder, which is placed with all below it at DST, or a file, which gets the name DST (or, where
/// DST ends in "/", its own name below it).
void addAddition(const std::string& addition, const BuildArguments& arguments, StrippedFiles& stripped,
                 PackageWriter& writer) {
    const auto [source, target] = split(addition, addition.rfind(':'), "--add", "SRC:DST");
    if (fs::is_directory(source)) {
        addStrippedTree(source, {target, {}, arguments.skipSpecial}, stripped, writer);
        return;
    }
    const bool below = target.empty() || target.back() == '/';
    const std::string copy = stripped.copyOf(source);
    writer.addFile(copy.empty() ? source : copy, below ? target + fs::path(source).filename().string() : target);
}

/// What in the tree is no payload: the folder that describes the package, and an earlier package under the name of
/// the one to be written.
std::vector<std::string> leftOut(const std::string& tree, const std::string& target) {
    std::vector<std::string> paths = {controlFolder};
    std::error_code failure;
    const fs::path folder = fs::weakly_canonical(fs::absolute(target, failure).parent_path(), failure);
    const fs::path inTree =
        (folder / fs::path(target).filename()).lexically_relative(fs::weakly_canonical(tree, failure));
    if (!target.empty() && !failure && !inTree.empty() && *inTree.begin() != "..") {
        paths.push_back(inTree.string());
    }
    return paths;
}

void addPayload(const BuildArguments& arguments, const PayloadSources& sources, PackageWriter& writer) {
    addStrippedTree(arguments.tree,
                    {arguments.prefix, leftOut(arguments.tree, sources.target), arguments.skipSpecial},
                    sources.stripped, writer);
    for (const auto& addition : arguments.additions) {
        addAddition(addition, arguments, sources.stripped, writer);
    }
    if (arguments.standardInput) {
        writer.addFile(sources.inputCopy, *arguments.standardInput, {});
    }
    for (const auto& mode : arguments.modes) {
        const auto [pattern, digits] = split(mode, mode.rfind('='), "--mode", "GLOB=MODE");
        writer.setMode(pattern, parseMode(digits, mode));
    }
}

}  // namespace

void fillControl(const BuildArguments& arguments, PackageWriter& writer) {
    const fs::path inTree = fs::path(arguments.tree) / controlFolder / "control";
    std::string path = arguments.controlFile;
    if (path.empty() && hasControlFolder(arguments.tree) && fs::exists(fs::symlink_status(inTree))) {
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

void addContents(const BuildArguments& arguments, const PayloadSources& sources, PackageWriter& writer) {
    addPayload(arguments, sources, writer);
    if (hasControlFolder(arguments.tree)) {
        addControlFolder(fs::path(arguments.tree) / controlFolder, arguments, writer);
    }
    for (const auto& [name, path] : namedScripts(arguments)) {
        writer.addControlMember(name, readFile(path));
    }
    for (const auto& path : arguments.conffiles) {
        writer.addConffile(path);
    }
}

}  // namespace bex::tool

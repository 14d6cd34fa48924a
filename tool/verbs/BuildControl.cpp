#include "verbs/BuildInputs.hpp"

#include <dirent.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "bex/stream/Architecture.hpp"
#include "output/Failure.hpp"
#include "stream/base/ForEachName.hpp"
#include "stream/base/Owners.hpp"
#include "verbs/ControlNames.hpp"
#include "verbs/OptionValue.hpp"
#include "verbs/TextFile.hpp"
#include "verbs/TreeFilter.hpp"

namespace bex::tool {

namespace fs = std::filesystem;
using stream::ErrorKind;
using stream::PackageWriter;
using stream::StreamError;

namespace {

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
    const stream::PlainDirectory names(opendir(directory.c_str()));
    if (names == nullptr) {
        throw unusable(directory, std::strerror(errno));
    }
    std::set<std::string> found;
    const int error = stream::forEachName([&] { return readdir(names.get()); },
                                          [&](const dirent& item) { found.insert(item.d_name); });
    if (error != 0) {
        throw unusable(directory, std::strerror(error));
    }
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
        // The writer makes it from the payload; one that is in the tree may be out of date.
        elsewhere.insert("md5sums");
    }
    for (const auto& [name, file] : namedScripts(arguments)) {
        elsewhere.insert(name);
    }
    for (const auto& name : namesIn(directory.string())) {
        // Before the check for a regular file: what is left out may be anything.
        if (elsewhere.count(name) > 0 || isLeftover(name)) {
            continue;
        }
        const std::string path = (directory / name).string();
        requireFileItself(path);
        if (name == "conffiles") {
            // Parsed and not only copied: the writer checks that its files are in the payload.
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

}  // namespace

// Later settings win: the file, then options with a name of their own, then --field.
void fillControl(const BuildArguments& arguments, PackageWriter& writer) {
    const fs::path inTree = fs::path(arguments.tree) / kControlDirectory / "control";
    std::string path = arguments.controlFile;
    if (path.empty() && !arguments.tree.empty() && hasControlDirectory(arguments.tree) &&
        fs::exists(fs::symlink_status(inTree))) {
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

void settleArchitecture(stream::ControlParagraph& control) {
    const std::string* given = control.find("Architecture");
    // Empty on a machine that Debian has no name for: the field stays absent, which the writer reports.
    const std::string_view native = stream::nativeArchitecture();
    if (given != nullptr) {
        const std::string_view word = stream::debianArchitecture(*given);
        if (!word.empty()) {
            throw UsageError("Architecture " + *given + ": Debian's word for it is " + std::string(word));
        }
    } else if (!native.empty()) {
        control.set("Architecture", native);
    }
}

void addControlMembers(const BuildArguments& arguments, PackageWriter& writer, Context& context) {
    if (!arguments.tree.empty() && hasControlDirectory(arguments.tree)) {
        addControlDirectory(arguments, writer, context);
    }
    for (const auto& [name, path] : namedScripts(arguments)) {
        addMember(name, readFile(path), writer, context);
    }
}

}  // namespace bex::tool

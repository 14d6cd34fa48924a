#include "BuildInputs.hpp"

#include <charconv>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "Failure.hpp"
#include "bex/stream/Escape.hpp"

namespace bex::tool {

namespace fs = std::filesystem;
using stream::ErrorKind;
using stream::escapeForDisplay;
using stream::PackageWriter;
using stream::StreamError;

namespace {

/// The folder of a tree that holds what describes the package; it is no payload.
constexpr const char* controlFolder = "DEBIAN";

StreamError unusable(const std::string& path, const std::string& reason) {
    return {ErrorKind::inputOutput, escapeForDisplay(path) + ": " + reason};
}

/// Splits "A=B" (or another separator) at the first (or last) separator.
std::pair<std::string, std::string> split(const std::string& text, std::size_t at, const char* option,
                                          const char* form) {
    if (at == std::string::npos || at == 0 || at + 1 > text.size()) {
        throw UsageError(std::string(option) + " " + escapeForDisplay(text) + ": takes " + form);
    }
    return {text.substr(0, at), text.substr(at + 1)};
}

/// Lines of a conffiles member: deb-conffiles(5).
void addConffiles(const std::string& text, PackageWriter& writer) {
    constexpr std::string_view removal = "remove-on-upgrade ";
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        if (line.rfind(removal, 0) == 0) {
            writer.addRemovedConffile(line.substr(removal.size()));
        } else if (!line.empty()) {
            writer.addConffile(line);
        }
        begin = end + 1;
    }
}

/// What stands beside DEBIAN/control: scripts, conffiles, triggers and whatever else dpkg-deb would take.
void addControlFolder(const fs::path& folder, const BuildChoices& choices, PackageWriter& writer) {
    std::set<fs::path> members;  // in an order that does not depend on the file system
    for (const auto& item : fs::directory_iterator(folder)) {
        members.insert(item.path());
    }
    for (const auto& path : members) {
        const std::string name = path.filename().string();
        if (name == "control" || (name == "md5sums" && !choices.noMd5sums)) {
            continue;  // Read elsewhere; made anew from what is packed.
        }
        if (name == "conffiles") {
            addConffiles(readFile(path.string()), writer);
        } else {
            writer.addControlMember(name, readFile(path.string()));
        }
    }
}

void fillControl(const BuildChoices& choices, PackageWriter& writer) {
    const fs::path inTree = fs::path(choices.tree) / controlFolder / "control";
    std::string path = choices.controlFile;
    if (path.empty() && fs::symlink_status(inTree).type() != fs::file_type::not_found) {
        path = inTree.string();
    }
    if (!path.empty()) {
        writer.control() = stream::ControlParagraph::parse(readFile(path), path);
    }
    for (const auto& [name, value] : choices.namedFields) {
        writer.control().set(name, value);
    }
    for (const auto& field : choices.fields) {
        const auto [name, value] = split(field, field.find('='), "--field", "NAME=VALUE");
        writer.control().set(name, value);
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

/// SRC may be a folder, which is placed with all below it at DST, or a file, which gets the name DST (or, where
/// DST ends in "/", its own name below it).
void addAddition(const std::string& addition, const BuildChoices& choices, PackageWriter& writer) {
    const auto [source, target] = split(addition, addition.rfind(':'), "--add", "SRC:DST");
    if (fs::is_directory(source)) {
        writer.addTree(source, {target, {}, choices.skipSpecial});
        return;
    }
    const bool below = target.empty() || target.back() == '/';
    writer.addFile(source, below ? target + fs::path(source).filename().string() : target);
}

void addPayload(const BuildChoices& choices, const std::string& inputCopy, PackageWriter& writer) {
    writer.addTree(choices.tree, {choices.prefix, {controlFolder}, choices.skipSpecial});
    for (const auto& addition : choices.additions) {
        addAddition(addition, choices, writer);
    }
    if (!choices.standardInput.empty()) {
        writer.addFile(inputCopy, choices.standardInput, {});
    }
    for (const auto& mode : choices.modes) {
        const auto [pattern, digits] = split(mode, mode.rfind('='), "--mode", "GLOB=MODE");
        writer.setMode(pattern, parseMode(digits, mode));
    }
}

}  // namespace

std::string readFile(const std::string& path) {
    // Not even a symlink: what describes a package is taken from where it is named, not from elsewhere.
    if (fs::symlink_status(path).type() != fs::file_type::regular) {
        throw unusable(path, fs::exists(fs::symlink_status(path)) ? "is not a regular file" : "does not exist");
    }
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad()) {
        throw unusable(path, "can't read it");
    }
    return text;
}

void collectInputs(const BuildChoices& choices, const std::string& inputCopy, PackageWriter& writer) {
    fillControl(choices, writer);
    addPayload(choices, inputCopy, writer);
    const fs::path folder = fs::path(choices.tree) / controlFolder;
    if (fs::is_directory(fs::symlink_status(folder))) {
        addControlFolder(folder, choices, writer);
    }
    for (const auto& script : choices.scripts) {
        const auto [name, path] = split(script, script.find('='), "--script", "NAME=FILE");
        writer.addControlMember(name, readFile(path));
    }
    for (const auto& path : choices.conffiles) {
        writer.addConffile(path);
    }
}

}  // namespace bex::tool

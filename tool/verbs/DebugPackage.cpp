#include "verbs/DebugPackage.hpp"

#include <filesystem>

#include "stream/base/Text.hpp"

namespace bex::tool {

namespace fs = std::filesystem;

namespace {

// The name and the fields below are those of debhelper's packages of debug symbols, which Debian's tools
// recognise.
constexpr const char* suffix = "-dbgsym";

std::string valueOf(const stream::ControlParagraph& control, const char* field) {
    const std::string* value = control.find(field);
    if (value == nullptr) {
        return {};
    }
    return *value;
}

}  // namespace

void fillDebugPackage(const stream::ControlParagraph& control, const StrippedFiles& stripped,
                      stream::PackageWriter& writer) {
    const std::string name = valueOf(control, "Package");
    std::string ids;
    for (const auto& [id, file] : stripped.debugFiles()) {
        stream::appendPart(ids, " ", id);
        writer.addFile(file, debugPathOf(id));
    }
    writer.addSymlink(name, "usr/share/doc/" + name + suffix);  // Changelog and copyright are the package's.
    stream::ControlParagraph& debug = writer.control();
    debug.set("Package", name + suffix);
    debug.set("Source", stream::orIfEmpty(valueOf(control, "Source"), name));
    debug.set("Version", valueOf(control, "Version"));
    debug.set("Auto-Built-Package", "debug-symbols");
    debug.set("Architecture", valueOf(control, "Architecture"));
    debug.set("Maintainer", valueOf(control, "Maintainer"));
    // Symbols of any other version describe other files.
    debug.set("Depends", name + " (= " + valueOf(control, "Version") + ")");
    // Paths of debug files hold the build ID, so that those of several architectures do not meet.
    if (valueOf(control, "Multi-Arch") == "same") {
        debug.set("Multi-Arch", "same");
    }
    debug.set("Section", "debug");
    debug.set("Priority", "optional");
    debug.set("Description", "debug symbols for " + name);
    debug.set("Build-Ids", ids);
}

std::string debugTarget(const std::string& target, const stream::ControlParagraph& control) {
    const fs::path path(target);
    const std::string name = valueOf(control, "Package");
    const std::string file = path.filename().string();
    // "hello_1.0_amd64.bex" gives "hello-dbgsym_1.0_amd64.bex"; a file with a name of the user's keeps it after
    // ours.
    const bool named = stream::startsWith(file, name);
    const std::string rest = named ? file.substr(name.size()) : "_" + file;
    return (path.parent_path() / (name + suffix + rest)).string();
}

}  // namespace bex::tool

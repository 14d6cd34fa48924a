#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <system_error>
#include <utility>

#include "bex/buildfile/BuildFile.hpp"
#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace fs = std::filesystem;

namespace {

/// The names in the directory, and those in its directory packaging with that before them.
std::set<std::string> namesIn(const std::string& directory) {
    std::set<std::string> names;
    std::error_code failure;
    // Sets failure for the directory itself; only the first call's is an error, as packaging may be a file.
    const auto take = [&](const std::string& below) {
        const fs::path place = fs::path(directory) / below;
        for (fs::directory_iterator entry(place, failure), end; !failure && entry != end;
             entry.increment(failure)) {
            names.insert((fs::path(below) / entry->path().filename()).string());
        }
    };
    take("");
    if (failure) {
        throw stream::StreamError(stream::ErrorKind::inputOutput,
                                  stream::escapeForDisplay(directory) + ": " + failure.message());
    }
    if (names.count("packaging") != 0) {
        take("packaging");
    }
    return names;
}

/// The directory's name made into one that a package may have.
std::string packageName(const std::string& directory) {
    std::error_code ignored;
    std::string name = stream::lowerCase(fs::weakly_canonical(directory, ignored).filename().string());
    std::replace_if(
        name.begin(), name.end(),
        [](char c) { return !stream::isAlphanumeric(c) && c != '+' && c != '-' && c != '.'; }, '-');
    name.erase(0, std::min(name.find_first_not_of("+-."), name.size()));
    // Debian Policy 5.6.1: at least two characters, the first alphanumeric.
    return name.size() < 2 ? "my-package" : name;
}

/// In double quotes, for YAML: names of files may have any character.
std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
        }
        result += c;
        if (c == '$') {
            // Not an escape of YAML's: the reader of build files takes "$$" for a dollar.
            result += '$';
        }
    }
    return result + '"';
}

/// From the variables that Debian's own tools read, such as dch(1); an example where one of them is missing.
std::string maintainer() {
    const char* name = std::getenv("DEBFULLNAME");
    const char* address = std::getenv("DEBEMAIL");
    if (name == nullptr || address == nullptr) {
        return "Your Name <you@example.org>";
    }
    return std::string(name) + " <" + address + ">";
}

/// Only for names with something before the end: a file ".service" is not a unit.
bool hasEnding(const std::string& name, const std::string& end) {
    return name.size() > end.size() && stream::endsWith(name, end);
}

/// A line that is in force where something of its kind was found, and an example where nothing was.
std::string contentsOf(const std::string& directory, const std::set<std::string>& names) {
    std::string lines;
    // Debian's /bin and /sbin are links to the directories in /usr, which packages name.
    constexpr std::pair<const char*, const char*> trees[] = {
        {"bin", "/usr/bin"}, {"etc", "/etc"}, {"opt", "/opt"}, {"sbin", "/usr/sbin"},
        {"srv", "/srv"},     {"usr", "/usr"}, {"var", "/var"}};
    for (const auto& [top, place] : trees) {
        if (names.count(top) != 0 && fs::is_directory(fs::path(directory) / top)) {
            lines += "  - src: " + std::string(top) + "\n    dst: " + place + "\n    type: tree\n";
        }
    }
    for (const std::string& name : names) {
        std::error_code failure;
        const fs::path path = fs::path(directory) / name;
        const fs::file_status status = fs::status(path, failure);
        // Programs of the directory itself: scripts in packaging belong to the package and are not installed.
        const bool isProgram = !failure && fs::is_regular_file(status) && name.find('/') == std::string::npos &&
                               (status.permissions() & fs::perms::owner_exec) != fs::perms::none;
        if (isProgram) {
            lines += "  - src: " + quoted(name) + "\n    dst: " + quoted("/usr/bin/" + name) + "\n";
        }
    }
    // The first of them: a package has one file with its terms.
    for (const char* licence : {"LICENSE", "LICENCE", "COPYING", "debian/copyright"}) {
        if (names.count(licence) != 0) {
            lines += "  - src: " + std::string(licence) + "\n    dst: /usr/share/doc/" + packageName(directory) +
                     "/copyright\n    file_info:\n      mode: 0644\n";
            break;
        }
    }
    // An empty "contents:" would be a map's key without a value, so the key is a comment too.
    if (lines.empty()) {
        return "# What the package holds: a file or glob of this machine, and its place in the package.\n"
               "#contents:\n"
               "#  - src: build/program\n"
               "#    dst: /usr/bin/program\n";
    }
    return "# What the package holds. A later line may refine what a tree brought.\ncontents:\n" + lines;
}

std::string systemdOf(const std::set<std::string>& names) {
    std::string units;
    for (const std::string& name : names) {
        for (const char* suffix : {".service", ".socket", ".timer"}) {
            if (hasEnding(name, suffix)) {
                units += "    - " + quoted(name) + "\n";
            }
        }
    }
    if (units.empty()) {
        return "# Units of systemd: installed, enabled, started, restarted on upgrades, stopped and forgotten.\n"
               "#systemd:\n"
               "#  units:\n"
               "#    - packaging/program.service\n";
    }
    return "# Units of systemd: installed, enabled, started, restarted on upgrades, stopped and forgotten.\n"
           "systemd:\n  units:\n" +
           units + "  #enable: false\n  #start: false\n";
}

/// The key with the first file of that suffix, or as an example.
std::string fileKey(const std::string& key, const std::set<std::string>& names, const std::string& comment) {
    for (const std::string& name : names) {
        if (hasEnding(name, "." + key)) {
            return key + ": " + quoted(name) + comment + "\n";
        }
    }
    return "#" + key + ": packaging/program." + key + comment + "\n";
}

/// Scripts have the names of dpkg's maintainer scripts on disk, and nfpm's in the file.
std::string scriptsOf(const std::set<std::string>& names) {
    constexpr std::pair<const char*, const char*> kScripts[] = {
        {"preinstall", "preinst"}, {"postinstall", "postinst"}, {"preremove", "prerm"}, {"postremove", "postrm"}};
    std::string lines;
    for (const auto& [key, script] : kScripts) {
        const std::string path = std::string("packaging/") + script;
        if (names.count(path) != 0) {
            lines += std::string("  ") + key + ": " + path + "\n";
        }
    }
    if (lines.empty()) {
        return "#scripts:\n#  postinstall: packaging/postinst\n";
    }
    return "scripts:\n" + lines;
}

}  // namespace

std::string initialFile(const std::string& directory) {
    const std::set<std::string> names = namesIn(directory);
    return "# A Debian package, described for `bex build -f`. `bex schema` prints the schema that editors take.\n"
           "# Every text may name variables of the environment: ${NAME}, or ${NAME:-default}; $$ is a dollar.\n"
           "\n"
           "name: " +
           packageName(directory) +
           "\n"
           "version: ${VERSION:-0.1.0}\n"
           "# The machine's, unless it is given: amd64, arm64, all, ...\n"
           "#arch: all\n"
           "maintainer: " +
           quoted(maintainer()) +
           "\n"
           "# A synopsis of one line, and paragraphs after it.\n"
           "description: |\n"
           "  one line that says what it is\n"
           "  More lines say more.\n"
           "#homepage: https://example.org/\n"
           "#section: misc\n"
           "#depends:\n"
           "#  - adduser\n"
           "\n" +
           contentsOf(directory, names) +
           "#  - src: \"docs/**/*.html\"        # what the wildcard crosses is kept\n"
           "#    dst: /usr/share/doc/program/\n"
           "#  - dst: /etc/program.conf         # no src: refines what a line before it brought\n"
           "#    type: config\n"
           "#  - dst: /var/lib/program\n"
           "#    type: dir\n"
           "#    file_info: { mode: 0750, owner: program, group: program }\n"
           "\n" +
           systemdOf(names) + fileKey("sysusers", names, "   # users that the package needs") +
           fileKey("tmpfiles", names, "   # directories and files that are made at boot") + "\n" +
           scriptsOf(names) +
           "\n"
           "# What changed, in chglog's form; the package gets Debian's.\n"
           "#changelog: changelog.yaml\n"
           "#deb:\n"
           "#  compression: zstd\n";
}

}  // namespace bex::buildfile

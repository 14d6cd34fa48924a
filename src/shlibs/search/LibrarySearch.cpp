#include "shlibs/search/LibrarySearch.hpp"

#include <glob.h>

#include <algorithm>
#include <set>
#include <utility>

#include "shlibs/base/TextFile.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

namespace {

/// Files that include each other end here.
constexpr std::size_t kMaximumConfigurationFiles = 256;

/// Sorted by glob(3); empty where nothing matches or a directory cannot be read, as for ldconfig(8).
std::vector<std::string> filesMatching(const std::string& pattern) {
    glob_t found{};
    std::vector<std::string> files;
    if (glob(pattern.c_str(), 0, nullptr, &found) == 0) {
        files.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    }
    globfree(&found);
    return files;
}

/// Reads ld.so.conf, a directory or "include PATTERN" a line, and what it includes: ldconfig(8).
class Configuration {
public:
    explicit Configuration(std::string sysroot) : sysroot_(std::move(sysroot)) {}

    std::vector<std::string> directories() {
        read(sysroot_ + "/etc/ld.so.conf");
        return std::move(directories_);
    }

private:
    void read(const std::string& path) {
        // Each file counts once: files that include each other would never end.
        if (files_.size() >= kMaximumConfigurationFiles || !files_.insert(path).second) {
            return;
        }
        const std::string text = readTextFile(path).value_or("");
        std::string_view rest = text;
        for (std::string_view line; stream::nextLine(rest, line);) {
            line = trimmed(line.substr(0, line.find('#')));
            std::string_view words = line;
            if (nextWord(words) == "include") {
                include(trimmed(words), path);
            } else if (!line.empty() && line.front() == '/') {
                // "DIRECTORY=TYPE" is the old form of a line, whose type no longer means anything.
                directories_.push_back(plainAbsolute(line.substr(0, line.find('='))));
            }
        }
    }

    void include(std::string_view pattern, const std::string& from) {
        std::string directory = from.substr(0, from.rfind('/') + 1);
        if (!pattern.empty() && pattern.front() == '/') {
            // An absolute pattern means a path of the system that is searched, not of this machine.
            directory = sysroot_;
        }
        for (const std::string& file : filesMatching(directory + std::string(pattern))) {
            read(file);
        }
    }

    std::string sysroot_;
    std::set<std::string> files_;
    std::vector<std::string> directories_;
};

/// Goes on after each replacement, so that it ends even where `by` contains `what`.
void replaceAll(std::string& text, std::string_view what, std::string_view by) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
}

/// ld.so(8)'s tokens. $PLATFORM names a processor, not a directory of a package.
std::string expanded(std::string text, const std::string& origin, const std::string& lib) {
    for (const char* token : {"$ORIGIN", "${ORIGIN}"}) {
        replaceAll(text, token, origin);
    }
    for (const char* token : {"$LIB", "${LIB}"}) {
        replaceAll(text, token, lib);
    }
    return text;
}

}  // namespace

LibrarySearch::LibrarySearch(const std::string& sysroot, std::string native)
    : native_(std::move(native)), configured_(Configuration(sysroot).directories()) {}

std::vector<std::string> LibrarySearch::directoriesFor(const SearchFrom& from,
                                                       const std::vector<std::string>& libdirs) const {
    const std::string architecture = architectureOf(from.machine);
    // Empty for machines that Debian has no name for: $LIB is "lib/" then, and the architecture's directories drop
    // out.
    const std::string multiarch(multiarchOf(architecture));
    std::vector<std::string> all;
    for (const std::string& path : from.searchPath) {
        all.push_back(expanded(path, from.origin, "lib/" + multiarch));
    }
    all.insert(all.end(), libdirs.begin(), libdirs.end());
    // The order of the pushes below is the order of the search: see the header.
    std::vector<std::string> own;
    if (!multiarch.empty()) {
        own = {"/lib/" + multiarch, "/usr/lib/" + multiarch};
    }
    // For a foreign architecture /lib holds libraries of the machine itself, so its own directories come first.
    if (architecture != native_) {
        all.insert(all.end(), own.begin(), own.end());
    }
    all.insert(all.end(), {"/lib", "/usr/lib"});
    all.insert(all.end(), configured_.begin(), configured_.end());
    all.insert(all.end(), own.begin(), own.end());
    all.insert(all.end(), {"/lib32", "/usr/lib32", "/lib64", "/usr/lib64"});
    std::vector<std::string> directories;
    for (const std::string& directory : all) {
        // A relative directory means the working directory of whoever runs the program, which is not known here.
        if (directory.empty() || directory.front() != '/') {
            continue;
        }
        std::string plain = plainAbsolute(directory);
        // The first mention decides the order. Linear each time, for some twenty directories.
        if (std::find(directories.begin(), directories.end(), plain) == directories.end()) {
            directories.push_back(std::move(plain));
        }
    }
    return directories;
}

std::optional<std::string> LibrarySearch::find(const std::string& library, const SearchFrom& from,
                                               const std::vector<std::string>& directories, Root& root) {
    // A file for another machine is passed over, as by the loader: the search goes on in the next directory.
    const auto fits = [&](const std::string& path) { return root.machineAt(path) == from.machine; };
    // ld.so(8): a name with a slash is a path and is not searched for.
    if (library.find('/') != std::string::npos) {
        std::string path = plainAbsolute(expanded(library, from.origin, "lib"));
        if (!fits(path)) {
            return std::nullopt;
        }
        return path;
    }
    for (const std::string& directory : directories) {
        std::string path = directory + "/" + library;
        if (fits(path)) {
            return path;
        }
    }
    return std::nullopt;
}

}  // namespace bex::shlibs

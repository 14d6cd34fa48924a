#include "shlibs/info/PackageSet.hpp"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "shlibs/base/Failure.hpp"
#include "shlibs/base/TextFile.hpp"
#include "shlibs/base/Version.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

namespace {

namespace fs = std::filesystem;

/// Sorted, and only in the directory itself: those below it are not looked at.
std::vector<std::string> packagesIn(const std::string& directory) {
    std::vector<std::string> paths;
    for (const std::string& name : namesIn(directory)) {
        if (stream::endsWith(name, ".deb") || stream::endsWith(name, ".bex")) {
            paths.push_back((fs::path(directory) / name).string());
        }
    }
    return paths;
}

std::string valueOf(const stream::ControlParagraph& control, const char* field) {
    const std::string* value = control.find(field);
    if (value == nullptr) {
        return {};
    }
    return *value;
}

/// A copy: the reader ends with add(), and the text is parsed only when a library is asked for.
std::optional<NamedText> memberOf(const stream::PackageReader& reader, const char* name, const std::string& path) {
    const stream::ControlMember* member = reader.findControlMember(name);
    if (member == nullptr) {
        return std::nullopt;
    }
    return NamedText{member->contents, path + ": " + name};
}

}  // namespace

PackageSet::PackageSet(const std::vector<std::string>& paths, const stream::ReadOptions& reading) {
    for (const std::string& path : paths) {
        std::error_code failure;
        if (!fs::is_directory(path, failure)) {
            add(path, reading);
            continue;
        }
        for (const std::string& package : packagesIn(path)) {
            add(package, reading);
        }
    }
    // paths is not empty here: a set is only made where some were given.
    if (packages_.empty()) {
        throw failure(ErrorKind::invalidInput, paths.front(), "has no packages");
    }
    // Names come in this order to providersOf(), whatever the order of the arguments was.
    std::sort(packages_.begin(), packages_.end(),
              [](const Package& a, const Package& b) { return a.name < b.name; });
}

void PackageSet::add(const std::string& path, const stream::ReadOptions& reading) {
    const stream::PackageReader reader(path, reading);
    Package package{valueOf(reader.control(), "Package"), valueOf(reader.control(), "Architecture"),
                    valueOf(reader.control(), "Version"), nullptr};
    // Before it is compared below, which would throw without naming the package.
    if (!isVersion(package.version)) {
        throw damaged(
            path, "its Version is \"" + stream::escapeForDisplay(package.version) + "\", which is not a version");
    }
    package.info =
        std::make_unique<PackageInfo>(package.name + ":" + package.architecture, memberOf(reader, "symbols", path),
                                      memberOf(reader, "shlibs", path));
    // Linear in the packages, so quadratic in all; opening a package costs far more.
    const auto same = std::find_if(packages_.begin(), packages_.end(), [&](const Package& other) {
        return other.name == package.name && other.architecture == package.architecture;
    });
    if (same == packages_.end()) {
        packages_.push_back(std::move(package));
    } else if (compareVersions(package.version, same->version) > 0) {
        *same = std::move(package);
    }
}

std::vector<PackageInfo*> PackageSet::providersOf(const std::string& soname, const std::string& architecture,
                                                  std::vector<std::string>& notes) {
    std::vector<PackageInfo*> providers;
    // Notes on shlibs files are dropped here: describing the chosen package reads the file again and keeps them.
    std::vector<std::string> ignored;
    for (const Package& package : packages_) {
        // Both files are asked: a package counts when either of them has the library.
        if ((package.architecture == architecture || package.architecture == "all") &&
            (package.info->symbolsOf(soname, architecture, notes) != nullptr ||
             package.info->dependencyOf(soname, ignored))) {
            providers.push_back(package.info.get());
        }
    }
    return providers;
}

std::string PackageSet::architecture() const {
    std::string common;
    for (const Package& package : packages_) {
        if (package.architecture == "all") {
            continue;
        }
        if (!common.empty() && common != package.architecture) {
            return {};
        }
        common = package.architecture;
    }
    return common;
}

}  // namespace bex::shlibs

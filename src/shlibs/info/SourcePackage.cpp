#include "shlibs/info/SourcePackage.hpp"

#include <filesystem>
#include <system_error>
#include <utility>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Escape.hpp"
#include "shlibs/base/TextFile.hpp"
#include "shlibs/base/Version.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

namespace {

namespace fs = std::filesystem;

/// What cannot be examined is not a file here: a tree without those files has nothing to say.
bool isFile(const std::string& path) {
    std::error_code failure;
    return fs::is_regular_file(path, failure);
}

/// The first paragraph, which describes the source package, without the empty lines and comments before it.
std::string firstParagraph(const std::string& text) {
    std::string paragraph;
    std::string_view rest = text;
    for (std::string_view line; stream::nextLine(rest, line);) {
        if (trimmed(line).empty() && !paragraph.empty()) {
            break;
        }
        if (!trimmed(line).empty() && line.front() != '#') {
            paragraph.append(line).push_back('\n');
        }
    }
    return paragraph;
}

}  // namespace

const std::vector<std::string>& SourcePackage::trees() {
    if (!trees_) {
        trees_.emplace();
        for (const std::string& name : namesIn(directory_)) {
            std::string tree = directory_ + "/" + name;
            // Directories with a leading dot are debhelper's own, such as .debhelper.
            if (name.front() != '.' && (isFile(tree + "/DEBIAN/symbols") || isFile(tree + "/DEBIAN/shlibs"))) {
                trees_->push_back(std::move(tree));
            }
        }
    }
    return *trees_;
}

std::string SourcePackage::treeAround(const std::string& path) {
    std::error_code failure;
    // Ends at "/", which has no relative path: a DEBIAN directory there would make the whole disk a tree.
    for (fs::path place = fs::absolute(path, failure).lexically_normal(); place.has_relative_path();
         place = place.parent_path()) {
        if (fs::is_directory(place / "DEBIAN", failure)) {
            return place.string();
        }
    }
    return {};
}

PackageInfo& SourcePackage::infoOf(const std::string& tree) {
    std::unique_ptr<PackageInfo>& place = infos_[tree];
    if (place == nullptr) {
        const std::string control = tree + "/DEBIAN/";
        place = std::make_unique<PackageInfo>(tree, readNamedText(control + "symbols"),
                                              readNamedText(control + "shlibs"));
    }
    return *place;
}

std::optional<std::string> SourcePackage::localDependencyOf(const std::string& soname,
                                                            std::vector<std::string>& notes) {
    if (local_ == nullptr) {
        // The file has the form of a shlibs file and belongs to no package, so the name stays empty.
        local_ = std::make_unique<PackageInfo>("", std::nullopt, readNamedText(directory_ + "/shlibs.local"));
    }
    return local_->dependencyOf(soname, notes);
}

void SourcePackage::readBuildDependencies() {
    // Set even where there is no control file, so that it is looked for once.
    buildDependencies_.emplace();
    const std::string path = directory_ + "/control";
    const std::string paragraph = firstParagraph(readTextFile(path).value_or(""));
    if (paragraph.empty()) {
        return;
    }
    const auto control = stream::ControlParagraph::parse(paragraph, stream::escapeForDisplay(path));
    for (const char* field : {"Build-Depends", "Build-Depends-Arch"}) {
        const std::string* value = control.find(field);
        // A variable of the build, "${name}", is not a relation yet.
        if (value == nullptr || value->find("${") != std::string::npos) {
            continue;
        }
        for (Alternatives& alternatives : parseRelations(*value, path + ": " + field)) {
            buildDependencies_->push_back(std::move(alternatives));
        }
    }
}

std::string SourcePackage::builtWith(const std::string& package, const std::string& architecture) {
    if (!buildDependencies_) {
        readBuildDependencies();
    }
    std::string newest;
    for (const Alternatives& alternatives : *buildDependencies_) {
        for (const Relation& relation : alternatives) {
            // Only a lower bound says what the build really had at least.
            if (relation.package == package && (relation.sign == ">=" || relation.sign == ">>") &&
                concerns(relation, architecture) && isVersion(relation.version) &&
                (newest.empty() || compareVersions(relation.version, newest) > 0)) {
                newest = relation.version;
            }
        }
    }
    return newest;
}

}  // namespace bex::shlibs

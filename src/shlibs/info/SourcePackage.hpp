#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "shlibs/base/Relation.hpp"
#include "shlibs/info/PackageInfo.hpp"

namespace bex::shlibs {

/// The debian directory of a source package, as far as it has a word on dependencies: shlibs.local, build trees
/// with DEBIAN/symbols or DEBIAN/shlibs, and the build dependencies.
class SourcePackage {
public:
    explicit SourcePackage(std::string directory) : directory_(std::move(directory)) {}

    /// The build trees that say something of libraries, in the order of their names.
    const std::vector<std::string>& trees();

    /// The nearest directory at or above the path that has a DEBIAN directory; empty where there is none.
    static std::string treeAround(const std::string& path);

    /// What the build tree says of its libraries.
    PackageInfo& infoOf(const std::string& tree);

    /// The dependencies that shlibs.local gives for the library.
    std::optional<std::string> localDependencyOf(const std::string& soname, std::vector<std::string>& notes);

    /// The newest version that the build dependencies ask for of the package; empty where they ask for none.
    std::string builtWith(const std::string& package, const std::string& architecture);

private:
    void readBuildDependencies();

    std::string directory_;
    std::optional<std::vector<std::string>> trees_;
    std::map<std::string, std::unique_ptr<PackageInfo>> infos_;
    std::unique_ptr<PackageInfo> local_;
    std::optional<std::vector<Alternatives>> buildDependencies_;
};

}  // namespace bex::shlibs

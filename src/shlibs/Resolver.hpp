#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "bex/shlibs/Dependencies.hpp"
#include "shlibs/Inputs.hpp"
#include "shlibs/info/DpkgDatabase.hpp"
#include "shlibs/info/PackageSet.hpp"
#include "shlibs/info/SourcePackage.hpp"
#include "shlibs/search/LibrarySearch.hpp"

namespace bex::shlibs {

/// Where a library was found, and what is known of it there.
struct Resolution {
    /// One package's word on the library: its symbols, or dependencies that do not depend on symbols.
    struct Source {
        std::string package;
        const LibrarySymbols* symbols = nullptr;
        std::string dependency;
    };

    bool found = false;
    bool needsNothing = false;  ///< the library comes with the file, or is a plugin that needs no dependency
    std::string path;
    std::vector<Source> sources;
};

/// Finds each library, and the package that it belongs to, as the request says.
class Resolver {
public:
    /// `architecture` is that of all files. Both arguments must outlive this.
    Resolver(const Request& request, std::vector<std::string>& notes);

    /// The architecture of the database or of the packages; empty where it is not known.
    std::string architecture() const;

    /// Must be called once before resolve(), with all files that are examined.
    void begin(const std::string& architecture, const std::vector<Subject>& files);

    /// Finds one library of a file. Valid as long as this.
    const Resolution& resolve(const std::string& library, const Subject& subject, const ElfFile& file);

    /// The directories that resolve() looks into for a file.
    std::vector<std::string> directoriesFor(const Subject& subject, const ElfFile& file) const;

    /// What to say of a library that was not found, beyond where it was looked for.
    std::string hintFor(const std::string& library, const Subject& subject) const;

    /// Raises what the build dependencies say of the library.
    std::string builtWith(const std::string& package) { return source_.builtWith(package, architecture_); }

private:
    /// Where a library was found: what names its package then.
    struct Place {
        enum class Kind { ownTree, otherTree, system } kind;
        std::string path;  ///< in the tree, or of the disk
        std::string tree;  ///< of otherTree
    };

    std::optional<Place> findPlace(const std::string& library, const Subject& subject, const ElfFile& file);
    Resolution describe(const std::string& library, const Place& place);
    Resolution fromPackages(const std::string& library);
    bool describeByOwners(const std::string& library, Resolution& resolution);
    void describeBy(PackageInfo& info, const std::string& library, Resolution& resolution);
    std::optional<std::string> overrideOf(const std::string& file, const std::string& library);
    std::vector<std::string> namesOf(const std::string& path);

    const Request& request_;
    std::vector<std::string>& notes_;
    std::string architecture_;
    SourcePackage source_;
    DpkgDatabase database_;
    std::optional<PackageSet> packages_;
    DiskRoot system_;
    DiskRoot disk_;  ///< the machine itself, for private directories beside a sysroot
    LibrarySearch search_;
    std::vector<std::string> treeLibdirs_;
    std::vector<std::string> diskLibdirs_;
    std::unordered_map<std::string, std::unique_ptr<DiskRoot>> otherTrees_;
    std::unordered_map<std::string, std::vector<Machine>> ownFiles_;  ///< by their names, of Request::payload
    std::unordered_map<std::string, std::optional<NamedText>> overrides_;
    std::unordered_map<std::string, Resolution> known_;
};

}  // namespace bex::shlibs

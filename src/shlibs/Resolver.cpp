#include "shlibs/Resolver.hpp"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "shlibs/info/ShlibsFile.hpp"
#include "shlibs/info/Soname.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

namespace {

namespace fs = std::filesystem;

/// Never empty: $ORIGIN of a file at the top is "/".
std::string parentOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == 0 || slash == std::string::npos) {
        return "/";
    }
    return path.substr(0, slash);
}

/// An explicit directory is taken as it is, without the sysroot before it.
std::string admindirOf(const Request& request) {
    if (!request.admindir.empty()) {
        return request.admindir;
    }
    return request.sysroot + "/var/lib/dpkg";
}

/// With packages in its place, the database is not asked.
std::string nativeArchitectureOf(const Request& request, const DpkgDatabase& database) {
    if (!request.from.empty()) {
        return {};
    }
    return database.nativeArchitecture();
}

/// /lib and /usr/lib are one directory on merged systems, and dpkg knows files by either name.
std::string otherNameOf(const std::string& path) {
    constexpr std::string_view usr = "/usr";
    for (const std::string_view top : {"/lib", "/bin", "/sbin"}) {
        if (stream::startsWith(path, top)) {
            return std::string(usr) + path;
        }
        if (stream::startsWith(path, usr) && path.compare(usr.size(), top.size(), top) == 0) {
            return path.substr(usr.size());
        }
    }
    return {};
}

SearchFrom searchFrom(const Subject& subject, const ElfFile& file) {
    return {file.machine, parentOf(subject.path), file.searchPath};
}

}  // namespace

Resolver::Resolver(const Request& request, std::vector<std::string>& notes)
    : request_(request),
      notes_(notes),
      source_(request.debianDirectory),
      database_(admindirOf(request), request.sysroot + "/etc/dpkg"),
      system_(request.sysroot),
      disk_(""),
      search_(request.sysroot, nativeArchitectureOf(request, database_)) {
    if (!request.from.empty()) {
        // Where packages_ is there, neither the database nor the directories of the system are searched.
        packages_.emplace(request.from, request.reading);
    }
    for (const std::string& directory : request.libdirs) {
        std::error_code failure;
        // A private directory has two meanings: within a tree or package it is a path there, on disk it is
        // relative to the working directory.
        treeLibdirs_.push_back("/" + directory);
        diskLibdirs_.push_back(fs::absolute(directory, failure).string());
    }
}

void Resolver::begin(const std::string& architecture, const std::vector<Subject>& files) {
    architecture_ = architecture;
    // Only a package that is about to be built knows all of its files; for other inputs the tree is searched.
    if (request_.payload.empty()) {
        return;
    }
    for (const Subject& file : files) {
        ownFiles_[file.path.substr(file.path.rfind('/') + 1)].push_back(file.machine);
    }
}

std::string Resolver::architecture() const {
    if (packages_) {
        return packages_->architecture();
    }
    return database_.nativeArchitecture();
}

std::vector<std::string> Resolver::directoriesFor(const Subject& subject, const ElfFile& file) const {
    // Those of the last step of findPlace(), which is the one that failed when a caller asks.
    return search_.directoriesFor(searchFrom(subject, file), diskLibdirs_);
}

std::string Resolver::hintFor(const std::string& library, const Subject& subject) const {
    std::string directory;
    if (const auto* package = dynamic_cast<const PackageRoot*>(subject.root.get())) {
        directory = package->directoryWith(library);
    } else if (!subject.tree.empty()) {
        std::error_code failure;
        // A directory that cannot be read ends the walk: this is only a hint.
        for (auto entry = fs::recursive_directory_iterator(subject.tree, failure);
             !failure && entry != fs::recursive_directory_iterator(); entry.increment(failure)) {
            if (entry->path().filename() == library) {
                directory = "/" + entry->path().parent_path().lexically_relative(subject.tree).string();
            }
        }
    }
    if (directory.empty()) {
        return {};
    }
    return "--libdir " + stream::escapeForDisplay(directory) + " has a file of that name";
}

std::optional<Resolver::Place> Resolver::findPlace(const std::string& library, const Subject& subject,
                                                   const ElfFile& file) {
    const SearchFrom from = searchFrom(subject, file);
    // A library is looked for where the loader will look on the target: in the package, then in packages that are
    // built along with it, then on the system. The first place decides, as it does for the loader.
    const std::vector<std::string> inTree = search_.directoriesFor(from, treeLibdirs_);
    if (subject.root != nullptr) {
        // The machine is part of the search: a 32-bit library of the same name is not what the loader takes.
        if (const auto path = LibrarySearch::find(library, from, inTree, *subject.root)) {
            return Place{Place::Kind::ownTree, *path, {}};
        }
    }
    if (const auto own = ownFiles_.find(library); own != ownFiles_.end()) {
        // In any directory of the package: a package may set its own search path when it runs.
        if (std::find(own->second.begin(), own->second.end(), file.machine) != own->second.end()) {
            return Place{Place::Kind::ownTree, library, {}};
        }
    }
    for (const std::string& tree : source_.trees()) {
        // Kept for the next library: the root remembers which paths it has looked at.
        std::unique_ptr<DiskRoot>& root = otherTrees_[tree];
        if (root == nullptr) {
            root = std::make_unique<DiskRoot>(tree);
        }
        if (const auto path = LibrarySearch::find(library, from, inTree, *root)) {
            return Place{Place::Kind::otherTree, *path, tree};
        }
    }
    // With files of another system or of packages, a library of this machine is only one that --libdir names.
    if (!request_.sysroot.empty() || packages_) {
        if (const auto path = LibrarySearch::find(library, from, diskLibdirs_, disk_)) {
            return Place{Place::Kind::otherTree, *path, SourcePackage::treeAround(*path)};
        }
    }
    // resolve() then asks the packages by the library's name, since they have no paths.
    if (packages_) {
        return std::nullopt;
    }
    const auto path = LibrarySearch::find(library, from, search_.directoriesFor(from, diskLibdirs_), system_);
    if (!path) {
        return std::nullopt;
    }
    return Place{Place::Kind::system, *path, {}};
}

/// The names that dpkg may know the file by, likeliest first: as found, without symlinks, and both on the other
/// side of a merged /usr.
std::vector<std::string> Resolver::namesOf(const std::string& path) {
    const std::string real = system_.realPath(path);
    std::vector<std::string> names{path, real};
    for (const std::string& name : {otherNameOf(path), otherNameOf(real)}) {
        if (!name.empty()) {
            names.push_back(name);
        }
    }
    return names;
}

std::optional<std::string> Resolver::overrideOf(const std::string& file, const std::string& library) {
    const auto [place, isNew] = overrides_.try_emplace(file);
    if (isNew) {
        // Read once, when the first library asks; most systems have neither file.
        place->second = readNamedText(request_.sysroot + "/etc/dpkg/" + file);
    }
    const std::optional<NamedText>& text = place->second;
    if (!text) {
        return std::nullopt;
    }
    return dependencyFromShlibs(text->text, library, text->where, notes_);
}

/// The order of dpkg-shlibdeps(1): symbols file, /etc/dpkg/shlibs.override, the package's shlibs file,
/// /etc/dpkg/shlibs.default. Adds nothing where none of them has the library.
void Resolver::describeBy(PackageInfo& info, const std::string& library, Resolution& resolution) {
    if (const LibrarySymbols* symbols = info.symbolsOf(library, architecture_, notes_)) {
        resolution.sources.push_back({info.name(), symbols, {}});
        return;
    }
    if (const auto dependency = overrideOf("shlibs.override", library)) {
        resolution.sources.push_back({"", nullptr, *dependency});
        return;
    }
    std::optional<std::string> dependency = info.dependencyOf(library, notes_);
    if (!dependency) {
        dependency = overrideOf("shlibs.default", library);
    }
    if (dependency) {
        resolution.sources.push_back({info.name(), nullptr, *dependency});
    }
}

/// The package of the name that the library was found by comes first, and one without a word on it last of all.
bool Resolver::describeByOwners(const std::string& library, Resolution& resolution) {
    bool owned = false;
    // Nearly every library is found in the first lists, and then those of all other packages are never read.
    for (const auto lists : {DpkgDatabase::Lists::ofLibraries, DpkgDatabase::Lists::others}) {
        for (const std::string& name : namesOf(resolution.path)) {
            for (const std::string& owner : database_.ownersOf(name, lists)) {
                owned = true;
                describeBy(database_.info(owner, architecture_), library, resolution);
            }
            // Not after the first owner: several packages may share a file, and each gives its own dependency.
            if (!resolution.sources.empty()) {
                return true;
            }
        }
    }
    return owned;
}

Resolution Resolver::describe(const std::string& library, const Place& place) {
    Resolution resolution;
    resolution.found = true;
    resolution.path = place.path;
    // A package never depends on itself.
    if (place.kind == Place::Kind::ownTree) {
        resolution.needsNothing = true;
        return resolution;
    }
    // shlibs.local is the maintainer's own word on the library: it wins even over a symbols file.
    if (const auto local = source_.localDependencyOf(library, notes_)) {
        resolution.sources.push_back({"", nullptr, *local});
        return resolution;
    }
    std::string tree = place.tree;
    if (place.kind == Place::Kind::system) {
        // A file of no package may lie in the tree of one that is being built.
        if (!describeByOwners(library, resolution)) {
            tree = SourcePackage::treeAround(request_.sysroot + place.path);
        }
    }
    // Without a tree, infoOf("") stands for no package: it only serves to reach the texts of /etc/dpkg.
    if (!tree.empty() || resolution.sources.empty()) {
        describeBy(source_.infoOf(tree), library, resolution);
    }
    // A library without a version in its soname is a plugin, which nobody provides for others.
    resolution.needsNothing = resolution.sources.empty() && !splitSoname(library);
    return resolution;
}

Resolution Resolver::fromPackages(const std::string& library) {
    Resolution resolution;
    if (const auto local = source_.localDependencyOf(library, notes_)) {
        resolution.found = true;
        resolution.sources.push_back({"", nullptr, *local});
        return resolution;
    }
    const std::vector<PackageInfo*> providers = packages_->providersOf(library, architecture_, notes_);
    // Of several providers the first by name is used, so that the result is the same on every run.
    resolution.found = !providers.empty();
    if (!providers.empty()) {
        describeBy(*providers.front(), library, resolution);
    }
    for (std::size_t i = 1; i < providers.size(); ++i) {
        notes_.push_back(stream::escapeForDisplay(library) + " is in " +
                         stream::escapeForDisplay(providers.front()->name()) + ", which is used, and in " +
                         stream::escapeForDisplay(providers[i]->name()));
    }
    return resolution;
}

const Resolution& Resolver::resolve(const std::string& library, const Subject& subject, const ElfFile& file) {
    const std::optional<Place> place = findPlace(library, subject, file);
    // The place is part of the key: two files may find libraries of one name in different directories.
    std::string key = library;
    if (place) {
        key += '\0' + std::to_string(static_cast<int>(place->kind)) + place->path + '\0' + place->tree;
    }
    // References into the map stay valid when it grows: callers keep what they were given. Neither branch below
    // calls resolve() again. A library that is nowhere keeps the empty resolution.
    const auto [known, isNew] = known_.try_emplace(key);
    if (isNew && place) {
        known->second = describe(library, *place);
    } else if (isNew && packages_) {
        known->second = fromPackages(library);
    }
    return known->second;
}

}  // namespace bex::shlibs

#include "shlibs/info/DpkgDatabase.hpp"

#include <algorithm>
#include <set>
#include <utility>

#include "shlibs/base/TextFile.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

namespace {

// dpkg keeps one file per kind below info/, named after the package, with ":ARCH" for those of Multi-Arch: same.
constexpr std::string_view kList = ".list";

/// For a name that ends so; a shorter one gives what substr() makes of a wrapped length: the whole name.
std::string_view withoutEnd(std::string_view name, std::string_view end) {
    return name.substr(0, name.size() - end.size());
}

/// "libc6:amd64" gives "libc6".
std::string withoutArchitecture(const std::string& package) {
    return package.substr(0, package.find(':'));
}

}  // namespace

/// A library's name has ".so" in it, or it would have no version.
void DpkgDatabase::readList(const std::string& package, Owners& owners) const {
    const std::string text = readTextFile(admindir_ + "/info/" + package + std::string(kList)).value_or("");
    std::string_view all = text;
    // The lists have hundreds of thousands of lines, few of which are libraries: a search for the text is faster
    // than reading lines. rfind() gives npos in the first line, and npos + 1 is its begin.
    for (std::size_t at = all.find(".so"); at != std::string_view::npos;) {
        const std::size_t begin = all.rfind('\n', at) + 1;
        const std::size_t end = std::min(all.find('\n', at), all.size());
        std::vector<std::string>& packages = owners[std::string(all.substr(begin, end - begin))];
        // A list may name a file twice; names of one package come together, so that the last owner is enough to
        // compare.
        if (packages.empty() || packages.back() != package) {
            packages.push_back(package);
        }
        at = all.find(".so", end);
    }
}

void DpkgDatabase::readLists(Lists lists, Owners& owners) const {
    std::set<std::string_view> libraries;
    const std::vector<std::string> names = namesIn(admindir_ + "/info");
    // Views into names, which is not changed below.
    for (const std::string_view end : {".symbols", ".shlibs"}) {
        for (const std::string& name : names) {
            if (stream::endsWith(name, end)) {
                libraries.insert(withoutEnd(name, end));
            }
        }
    }
    for (const std::string& name : names) {
        const bool wanted = (libraries.count(withoutEnd(name, kList)) > 0) == (lists == Lists::ofLibraries);
        if (stream::endsWith(name, kList) && wanted) {
            readList(std::string(withoutEnd(name, kList)), owners);
        }
    }
}

/// Three lines each: the diverted name, where it was moved to, the package (":" for an administrator's own).
void DpkgDatabase::readDiversions() {
    const std::string text = readTextFile(admindir_ + "/diversions").value_or("");
    std::string_view rest = text;
    std::string_view from;
    std::string_view to;
    std::string_view package;
    diversions_.emplace();
    // A last diversion that is cut short is left out.
    while (stream::nextLine(rest, from) && stream::nextLine(rest, to) && stream::nextLine(rest, package)) {
        (*diversions_)[std::string(from)] = package;
    }
}

std::vector<std::string> DpkgDatabase::withoutDiverted(const std::vector<std::string>& packages,
                                                       const std::string& name) {
    if (!diversions_) {
        readDiversions();
    }
    const auto diversion = diversions_->find(name);
    std::vector<std::string> owners;
    // The file under this name is the diverting package's; every other package's has been moved elsewhere.
    for (const std::string& package : packages) {
        if (diversion != diversions_->end() && withoutArchitecture(package) == diversion->second) {
            owners.push_back(package);
        }
    }
    // No diversion, or one by an administrator or by a package that has no such file.
    if (owners.empty()) {
        return packages;
    }
    return owners;
}

std::vector<std::string> DpkgDatabase::ownersOf(const std::string& name, Lists lists) {
    std::optional<Owners>& owners = lists == Lists::ofLibraries ? libraryOwners_ : otherOwners_;
    if (!owners) {
        owners.emplace();
        readLists(lists, *owners);
    }
    const auto found = owners->find(name);
    if (found == owners->end()) {
        return {};
    }
    return withoutDiverted(found->second, name);
}

PackageInfo& DpkgDatabase::info(const std::string& package, const std::string& architecture) {
    // By package alone: the architecture is the same in all calls of one search. References stay valid as it
    // grows.
    std::unique_ptr<PackageInfo>& place = infos_[package];
    if (place == nullptr) {
        place = std::make_unique<PackageInfo>(package, readSymbols(package, architecture),
                                              readNamedText(admindir_ + "/info/" + package + ".shlibs"));
    }
    return *place;
}

std::optional<NamedText> DpkgDatabase::readSymbols(const std::string& package,
                                                   const std::string& architecture) const {
    // dpkg-shlibdeps(1): an administrator's file for the architecture, then one for all, then the package's own.
    for (const std::string& name : {package, withoutArchitecture(package)}) {
        for (const std::string& end : {"." + architecture, std::string()}) {
            if (auto symbols = readNamedText(overrides_ + "/symbols/" + name + ".symbols" + end)) {
                return symbols;
            }
        }
    }
    return readNamedText(admindir_ + "/info/" + package + ".symbols");
}

std::string DpkgDatabase::nativeArchitecture() const {
    // The newline in front lets the first paragraph match the same way as the others.
    const std::string text = "\n" + readTextFile(admindir_ + "/status").value_or("");
    const std::size_t begin = text.find("\nPackage: dpkg\n");
    constexpr std::string_view field = "\nArchitecture: ";
    if (begin == std::string::npos) {
        return {};
    }
    const std::size_t at = text.find(field, begin);
    // A field after the empty line belongs to another package. In the last paragraph find() gives npos, which is
    // greater than any position.
    if (at == std::string::npos || at > text.find("\n\n", begin)) {
        return {};
    }
    const std::size_t value = at + field.size();
    return text.substr(value, text.find('\n', value) - value);
}

}  // namespace bex::shlibs

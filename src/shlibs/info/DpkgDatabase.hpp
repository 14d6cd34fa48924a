#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "shlibs/info/PackageInfo.hpp"

namespace bex::shlibs {

/// dpkg's database: which package a library belongs to, and what that says of it. Lists of files are read when
/// they are first needed.
class DpkgDatabase {
public:
    /// `admindir` is such as /var/lib/dpkg, `overrides` such as /etc/dpkg.
    DpkgDatabase(std::string admindir, std::string overrides)
        : admindir_(std::move(admindir)), overrides_(std::move(overrides)) {}

    /// Which packages' lists of files are searched.
    enum class Lists {
        ofLibraries,  ///< of packages with a symbols or shlibs file
        others
    };

    /// The packages that the file of that name belongs to. Where one has diverted the name, the file is that
    /// one's.
    std::vector<std::string> ownersOf(const std::string& name, Lists lists);

    /// What the package says of its libraries; files in /etc/dpkg/symbols win over its own.
    PackageInfo& info(const std::string& package, const std::string& architecture);

    /// The architecture of dpkg itself; empty where the database does not say.
    std::string nativeArchitecture() const;

    const std::string& directory() const noexcept { return admindir_; }

private:
    /// Packages by the files of theirs that may be libraries.
    using Owners = std::unordered_map<std::string, std::vector<std::string>>;

    void readLists(Lists lists, Owners& owners) const;
    void readList(const std::string& package, Owners& owners) const;
    std::vector<std::string> withoutDiverted(const std::vector<std::string>& packages, const std::string& name);
    void readDiversions();
    std::optional<NamedText> readSymbols(const std::string& package, const std::string& architecture) const;

    std::string admindir_;
    std::string overrides_;
    std::optional<Owners> libraryOwners_;
    std::optional<Owners> otherOwners_;
    std::optional<std::map<std::string, std::string>> diversions_;  ///< the diverting package by the diverted name
    std::map<std::string, std::unique_ptr<PackageInfo>> infos_;
};

}  // namespace bex::shlibs

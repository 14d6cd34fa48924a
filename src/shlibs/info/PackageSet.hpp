#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bex/stream/PackageReader.hpp"
#include "shlibs/info/PackageInfo.hpp"

namespace bex::shlibs {

/// Package files that stand in for dpkg's database: what their control archives say of libraries.
class PackageSet {
public:
    /// Opens the packages, and those (*.deb, *.bex) in the directories. Payloads are not read. Of several versions
    /// of a package the newest counts. Throws stream::StreamError (`invalidInput`) where there is none at all, and
    /// what stream::PackageReader throws.
    PackageSet(const std::vector<std::string>& paths, const stream::ReadOptions& reading);

    /// The packages for the architecture that say anything of the library, in the order of their names.
    std::vector<PackageInfo*> providersOf(const std::string& soname, const std::string& architecture,
                                          std::vector<std::string>& notes);

    /// The architecture of all packages that have one; empty where they differ.
    std::string architecture() const;

    std::size_t size() const noexcept { return packages_.size(); }

private:
    struct Package {
        std::string name;
        std::string architecture;
        std::string version;
        std::unique_ptr<PackageInfo> info;
    };

    void add(const std::string& path, const stream::ReadOptions& reading);

    std::vector<Package> packages_;
};

}  // namespace bex::shlibs

#pragma once

#include <string>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "bex/stream/ControlParagraph.hpp"
#include "repo/suite/NextSuite.hpp"

namespace bex::repo {

/// A package's file as a page shows it.
struct ShownPackage {
    std::string component;
    stream::ControlParagraph stanza;
    std::vector<std::string> files;  ///< paths of the payload
};

/// All that a suite has under one name, the newest version first.
struct PackageGroup {
    std::string name;
    std::vector<SuitePackage> packages;
};

/// The page of the repository: what there is, and how apt comes to it. `url` is its address, or "" where it is not
/// known.
std::string repositoryPage(const std::vector<SuiteSettings>& suites, const std::string& url, bool isSigned);

/// The list of a suite's packages, with the newest version of each.
std::string suitePage(const SuiteSettings& suite, const std::vector<PackageGroup>& groups);

/// The page of one package: versions, description, fields, files.
std::string packagePage(const SuiteSettings& suite, const std::string& name,
                        const std::vector<ShownPackage>& packages);

}  // namespace bex::repo

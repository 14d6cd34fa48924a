#include "bex/repo/Repository.hpp"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "repo/base/Failure.hpp"
#include "repo/files/Lock.hpp"
#include "repo/suite/NextSuite.hpp"
#include "repo/suite/Selection.hpp"

namespace bex::repo {

void init(const std::string& root, const SuiteSettings& settings) {
    const Layout layout(root);
    System& system = System::real();
    withSuite({}, settings);  // Refused before anything is made.
    makeDirectories(layout.below(".bex/changes"), system);
    makeDirectories(layout.below(".bex/generations"), system);
    // The lock is a file in .bex, so that the directories come first. Settings are read under it: two processes
    // may add a suite each.
    const Lock lock(root);
    std::vector<SuiteSettings> suites;
    if (sizeOfFile(layout.settings())) {
        suites = readSettings(layout);
    }
    writeSettings(layout, withSuite(std::move(suites), settings), system);
}

/// Takes no lock: every file is replaced as a whole, and NextSuite reads in an order that suits a publication in
/// between.
std::vector<PackageId> list(const std::string& root, const Query& query) {
    const Layout layout(root);
    std::vector<SuiteSettings> suites = readSettings(layout);
    if (!query.suite.empty()) {
        suites = {findSuite(suites, query.suite)};
    }
    std::vector<PackageId> ids;
    for (const SuiteSettings& settings : suites) {
        const NextSuite suite(layout, settings);
        const auto found = select(suite, query, false);
        std::transform(found.begin(), found.end(), std::back_inserter(ids),
                       [&](const SuitePackage& package) { return suite.idOf(package); });
    }
    return ids;
}

std::vector<PackageId> remove(const std::string& root, const Query& query, std::size_t keep) {
    if (query.packages.empty() && keep == 0) {
        throw failure(ErrorKind::invalidInput, "invalid-input", "",
                      "name the packages to remove, or how many to keep");
    }
    const Layout layout(root);
    const Lock lock(root);
    NextSuite suite(layout, findSuite(readSettings(layout), query.suite));
    std::vector<PackageId> removed;
    // With `keep` 0, every package that matches is removed.
    for (const SuitePackage& package : olderThanNewest(select(suite, query, true), keep)) {
        suite.remove(package);
        removed.push_back(suite.idOf(package));
    }
    if (!removed.empty()) {
        suite.write(System::real());
    }
    return removed;
}

std::vector<PackageId> promote(const std::string& root, const Query& query, const std::string& to) {
    if (query.packages.empty()) {
        throw failure(ErrorKind::invalidInput, "invalid-input", "", "name the packages to promote");
    }
    const Layout layout(root);
    const Lock lock(root);
    const auto suites = readSettings(layout);
    const NextSuite source(layout, findSuite(suites, query.suite));
    NextSuite target(layout, findSuite(suites, to));
    std::vector<PackageId> promoted;
    for (SuitePackage& package : select(source, query, true)) {
        // The target must have a component of the same name; the file stays where it is in the pool, and both
        // suites list it.
        package.component = findComponent(target.settings(), package.component);
        requireArchitecture(target.settings(), std::string(package.stanza.architecture),
                            std::string(package.stanza.filename));
        const auto& there = target.packages();
        const auto same = std::find_if(there.begin(), there.end(), [&](const SuitePackage& other) {
            return isSamePackage(other.stanza, package.stanza);
        });
        // What the target has with the same bytes is left as it is, so that a promotion can be repeated.
        if (same == there.end()) {
            target.add(package.component, std::string(package.stanza.text));
            promoted.push_back(target.idOf(package));
        } else if (same->stanza.sha256 != package.stanza.sha256) {
            throw failure(ErrorKind::invalidInput, "pool-conflict", std::string(package.stanza.filename),
                          "has the SHA-256 " + std::string(package.stanza.sha256) + ", but suite " +
                              target.settings().suite + " has " + std::string(same->stanza.sha256) +
                              " under the same name and version");
        }
    }
    if (!promoted.empty()) {
        target.write(System::real());
    }
    return promoted;
}

}  // namespace bex::repo

void bexRepoInit(const std::string& root, const bex::repo::SuiteSettings& settings) {
    bex::repo::init(root, settings);
}

void bexRepoList(const std::string& root, const bex::repo::Query& query,
                 std::vector<bex::repo::PackageId>& found) {
    found = bex::repo::list(root, query);
}

void bexRepoRemove(const std::string& root, const bex::repo::Query& query, std::size_t keep,
                   std::vector<bex::repo::PackageId>& removed) {
    removed = bex::repo::remove(root, query, keep);
}

void bexRepoPromote(const std::string& root, const bex::repo::Query& query, const std::string& to,
                    std::vector<bex::repo::PackageId>& promoted) {
    promoted = bex::repo::promote(root, query, to);
}

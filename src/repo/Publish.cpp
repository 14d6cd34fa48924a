#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "repo/files/Lock.hpp"
#include "repo/html/Site.hpp"
#include "repo/publish/Publication.hpp"
#include "repo/suite/NextSuite.hpp"
#include "repo/suite/Settings.hpp"

namespace bex::repo {

namespace {

/// Removes the files of packages that no suite has any more, published or noted.
void removeUnlisted(const Layout& layout, const std::vector<SuiteSettings>& suites, std::set<std::string> files,
                    PublishResult& result) {
    if (files.empty()) {
        return;
    }
    for (const SuiteSettings& settings : suites) {
        const NextSuite suite(layout, settings);
        for (const SuitePackage& package : suite.packages()) {
            files.erase(std::string(package.stanza.filename));
        }
    }
    for (const std::string& file : files) {
        const bool isInPool = file.compare(0, 5, "pool/") == 0;
        if (isInPool && removeFile(layout.below(file), System::real())) {
            result.removed.push_back(file);
        }
    }
}

}  // namespace

PublishResult publish(const std::string& root, const PublishOptions& options) {
    const Layout layout(root);
    const Lock lock(root);
    const std::vector<SuiteSettings> suites = readSettings(layout);
    std::vector<SuiteSettings> chosen = suites;
    if (!options.suite.empty()) {
        chosen = {findSuite(suites, options.suite)};
    }
    PublishResult result;
    std::set<std::string> unlisted;
    for (const SuiteSettings& suite : chosen) {
        Publication publication(layout, suite, options, System::real());
        publication.run(result);
        unlisted.insert(publication.unlisted().begin(), publication.unlisted().end());
    }
    removeUnlisted(layout, suites, unlisted, result);
    if (options.html && !options.planOnly) {
        writeSite(layout, suites, options, result, System::real());
    }
    return result;
}

}  // namespace bex::repo

void bexRepoPublish(const std::string& root, const bex::repo::PublishOptions& options,
                    bex::repo::PublishResult& result) {
    result = bex::repo::publish(root, options);
}

#include <algorithm>
#include <deque>
#include <set>
#include <string>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "repo/files/Lock.hpp"
#include "repo/html/Site.hpp"
#include "repo/publish/Generations.hpp"
#include "repo/publish/Publication.hpp"
#include "repo/suite/NextSuite.hpp"
#include "repo/suite/PublishedSuite.hpp"
#include "repo/suite/Settings.hpp"
#include "stream/base/Text.hpp"

namespace bex::repo {

namespace {

/// Erases what the suite will list, and what its clients may still ask for: by its published indexes, since a
/// removal that is noted and not published counts for nothing yet, and by those before them.
void eraseNeeded(const Layout& layout, const SuiteSettings& settings, std::set<std::string>& files) {
    const NextSuite next(layout, settings);
    for (const SuitePackage& package : next.packages()) {
        files.erase(std::string(package.stanza.filename));
    }
    const PublishedSuite published(layout, settings.suite);
    for (const std::string& component : settings.components) {
        for (const Stanza& stanza : published.packages(component, settings.architectures).stanzas) {
            files.erase(std::string(stanza.filename));
        }
    }
    for (const std::string& file : Generations(layout, settings.suite).drops()) {
        files.erase(file);
    }
}

/// Removes the files of packages that no suite has any more, published or noted, now or in a generation that is
/// kept.
void removeUnlisted(const Layout& layout, const std::vector<SuiteSettings>& suites, std::set<std::string> files,
                    PublishResult& result) {
    for (const SuiteSettings& settings : suites) {
        // A file is in the pool once for all suites; it stays as long as one of them needs it.
        eraseNeeded(layout, settings, files);
    }
    for (const std::string& file : files) {
        // The names come from a file in .bex, which may have been edited: nothing but the pool is ever removed
        // here.
        const bool isInPool = stream::startsWith(file, "pool/");
        if (isInPool && removeFile(layout.below(file), System::real())) {
            result.removed.push_back(file);
        }
    }
}

}  // namespace

PublishResult publish(const std::string& root, const PublishOptions& options) {
    const Layout layout(root);
    // Held to the end: the pages and the removal from the pool go by the suites as they were published here.
    const Lock lock(root);
    const std::vector<SuiteSettings> suites = readSettings(layout);
    std::vector<SuiteSettings> chosen = suites;
    if (!options.suite.empty()) {
        chosen = {findSuite(suites, options.suite)};
    }
    PublishResult result;
    std::deque<Publication> publications;
    std::set<std::string> unlisted;
    for (const SuiteSettings& suite : chosen) {
        Publication& publication = publications.emplace_back(layout, suite, options, System::real());
        publication.run(result);
        unlisted.insert(publication.unlisted().begin(), publication.unlisted().end());
    }
    if (!unlisted.empty() && !options.planOnly) {
        // After all suites are published: a later one may still list what an earlier one dropped. All suites are
        // asked, not only the chosen ones.
        removeUnlisted(layout, suites, unlisted, result);
        for (Publication& publication : publications) {
            publication.forgetUnlisted();
        }
    }
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

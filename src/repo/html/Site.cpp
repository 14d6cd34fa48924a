#include "repo/html/Site.hpp"

#include <algorithm>
#include <set>
#include <utility>

#include "repo/base/Hasher.hpp"
#include "repo/files/Directory.hpp"
#include "repo/html/Assets.hpp"
#include "repo/html/Markup.hpp"
#include "repo/html/Pages.hpp"
#include "repo/publish/Contents.hpp"
#include "stream/base/Text.hpp"
#include "stream/base/WorkPool.hpp"

namespace bex::repo {

namespace {

/// Changes when pages of packages come to look otherwise.
constexpr const char* kPagesVersion = "1";

/// The packages by name, the newest version first. Names that can't be a page's are left out: nothing that `add`
/// accepts has one.
std::vector<PackageGroup> groupsOf(const NextSuite& suite) {
    std::vector<SuitePackage> packages = suite.packages();
    std::stable_sort(packages.begin(), packages.end(), [](const SuitePackage& a, const SuitePackage& b) {
        return a.stanza.package < b.stanza.package;
    });
    std::vector<PackageGroup> groups;
    for (SuitePackage& package : packages) {
        const std::string name(package.stanza.package);
        if (!isPlainWord(name)) {
            continue;
        }
        if (groups.empty() || groups.back().name != name) {
            groups.push_back({name, {}});
        }
        groups.back().packages.push_back(std::move(package));
    }
    for (PackageGroup& group : groups) {
        std::stable_sort(group.packages.begin(), group.packages.end(),
                         [](const SuitePackage& a, const SuitePackage& b) {
                             return compareVersions(a.stanza.version, b.stanza.version) > 0;
                         });
    }
    return groups;
}

/// The pages of one repository, as they are written.
class Site {
public:
    Site(const Layout& layout, const PublishOptions& options, PublishResult& result, System& system)
        : layout_(layout), options_(options), result_(result), system_(system) {}

    // Equal pages are not written: their times stay, and what copies the site to a server has little to do.
    void put(const std::string& path, const std::string& text) {
        const std::string file = layout_.below(path);
        if (readFile(file) != text) {
            writeFile(file, text, system_);
            result_.written.push_back(path);
        }
    }

    /// Writes the pages of a suite and removes those that it has no package for.
    void putSuite(const SuiteSettings& settings) {
        const NextSuite suite(layout_, settings);
        const auto groups = groupsOf(suite);
        const std::string directory = "html/" + settings.suite;
        makeDirectories(layout_.below(directory), system_);
        put(directory + "/index.html", suitePage(settings, groups));
        putPackages(settings, directory, groups);
        // The suite's directory below html/ is ours alone, so that any other name in it is a page of a package
        // that left.
        std::set<std::string> kept = {"index.html"};
        for (const PackageGroup& group : groups) {
            kept.insert(group.name + ".html");
        }
        for (const std::string& name : namesIn(layout_.below(directory), system_)) {
            if (kept.count(name) == 0 && removeFile(layout_.below(directory + "/" + name), system_)) {
                result_.removed.push_back(directory + "/" + name);
            }
        }
    }

private:
    struct Job {
        const PackageGroup* group = nullptr;
        std::string path;
        std::string text;  ///< "" where the page is there
    };

    /// The first line of a package's page, which tells whether it is still right.
    static std::string keyOf(const PackageGroup& group) {
        Hasher hasher;
        // The stanzas have the SHA-256 of the files, and nothing else goes into the page.
        hasher.update(kPagesVersion);
        for (const SuitePackage& package : group.packages) {
            hasher.update(package.component);
            hasher.update(package.stanza.text);
        }
        return "<!-- " + hasher.finish().sha256 + " -->\n";
    }

    void make(Job& job, const SuiteSettings& settings) const {
        const std::string key = keyOf(*job.group);
        const auto before = readFile(layout_.below(job.path));
        job.text.clear();
        // To make a page reads its packages from the pool; the first line saves that for all pages that are still
        // right.
        if (before && stream::startsWith(*before, key)) {
            return;
        }
        std::vector<ShownPackage> shown;
        for (const SuitePackage& package : job.group->packages) {
            shown.push_back({package.component,
                             stream::ControlParagraph::parse(package.stanza.text, job.group->name),
                             pathsOf(layout_.below(std::string(package.stanza.filename)))});
        }
        job.text = key + packagePage(settings, job.group->name, shown);
    }

    void putPackages(const SuiteSettings& settings, const std::string& directory,
                     const std::vector<PackageGroup>& groups) {
        const unsigned threads = stream::threadCount(options_.threads);
        stream::WorkPool<Job> pool(threads, stream::jobsInFlight(threads),
                                   [&] { return [&](Job& job) { make(job, settings); }; });
        // Workers only make texts. Writing and the result are left to this thread, so that neither needs a lock.
        const auto take = [&] {
            if (!pool.front().text.empty()) {
                put(pool.front().path, pool.front().text);
            }
            pool.pop();
        };
        for (const PackageGroup& group : groups) {
            if (pool.full()) {
                take();
            }
            pool.next() = {&group, directory + "/" + group.name + ".html", ""};
            pool.submit();
        }
        while (!pool.empty()) {
            take();
        }
    }

    const Layout& layout_;
    const PublishOptions& options_;
    PublishResult& result_;
    System& system_;
};

}  // namespace

void writeSite(const Layout& layout, const std::vector<SuiteSettings>& suites, const PublishOptions& options,
               PublishResult& result, System& system) {
    Site site(layout, options, result, system);
    makeDirectories(layout.below("html"), system);
    // Before the pages that refer to them.
    site.put("html/style.css", kStyleSheet);
    site.put("html/search.js", kScript);
    for (const SuiteSettings& suite : suites) {
        // The page of the repository below names all suites, also those that are not published now.
        if (options.suite.empty() || options.suite == suite.suite) {
            site.putSuite(suite);
        }
    }
    site.put("index.html", repositoryPage(suites, options.url, !options.key.empty()));
}

}  // namespace bex::repo

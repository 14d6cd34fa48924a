#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "repo/base/Failure.hpp"
#include "repo/files/Lock.hpp"
#include "repo/pool/Candidate.hpp"
#include "repo/pool/Pool.hpp"
#include "repo/suite/NextSuite.hpp"
#include "repo/suite/Selection.hpp"
#include "stream/base/Text.hpp"
#include "stream/base/WorkPool.hpp"

namespace bex::repo {

namespace {

/// Examines all packages, several at once; the first error in their order is the one that is thrown.
std::vector<Candidate> examineAll(const std::vector<std::string>& packages, const std::string& component,
                                  const AddOptions& options) {
    struct Job {
        std::string path;
        Candidate candidate;
    };
    AddOptions each = options;
    const unsigned threads = std::min(stream::threadCount(options.reading.threads),
                                      static_cast<unsigned>(std::max<std::size_t>(packages.size(), 1)));
    if (threads > 1) {
        each.reading.threads = 1;  // packages side by side rather than the blocks of one
    }
    std::vector<Candidate> candidates;
    stream::WorkPool<Job> pool(threads, stream::jobsInFlight(threads), [&] {
        return [&](Job& job) { job.candidate = examine(job.path, component, each); };
    });
    // With a full pool the oldest job is waited for: what is in flight stays bounded, and candidates keep the
    // order of the arguments.
    for (const std::string& path : packages) {
        if (pool.full()) {
            candidates.push_back(std::move(pool.front().candidate));
            pool.pop();
        }
        pool.next().path = path;
        pool.submit();
    }
    while (!pool.empty()) {
        candidates.push_back(std::move(pool.front().candidate));
        pool.pop();
    }
    return candidates;
}

PackageId idOf(const Candidate& candidate, const SuiteSettings& suite) {
    const PackageRecord& record = candidate.record;
    return {suite.suite,    candidate.component, record.package,
            record.version, record.architecture, record.filename};
}

/// What the suite has of each package, and what comes to it.
class Addition {
public:
    explicit Addition(const NextSuite& suite) {
        for (const SuitePackage& package : suite.packages()) {
            const Stanza& stanza = package.stanza;
            known_[{std::string(stanza.package), std::string(stanza.version), std::string(stanza.architecture)}] =
                {std::string(stanza.filename), std::string(stanza.sha256), package.component};
        }
    }

    /// False where the suite has the package already. Throws where it has it with other contents.
    bool take(const Candidate& candidate) {
        const PackageRecord& record = candidate.record;
        // Packages that are added together are compared with each other, too: each becomes known here.
        const auto [place, isNew] = known_.insert({{record.package, record.version, record.architecture},
                                                   {record.filename, record.digests.sha256, candidate.component}});
        if (!isNew && place->second.sha256 != record.digests.sha256) {
            failConflict(candidate, place->second.filename, place->second.sha256);
        }
        // Paths in the pool begin with the component: in another one the package is a file of its own.
        const bool isElsewhere = place->second.component != candidate.component;
        place->second.component = candidate.component;
        return isNew || isElsewhere;
    }

private:
    struct Known {
        std::string filename;
        std::string sha256;
        std::string component;
    };
    std::map<std::tuple<std::string, std::string, std::string>, Known> known_;
};

/// Notes the candidates for the next publication; `place` sees to the file of each that is new. The caller has the
/// lock.
AddResult note(const Layout& layout, const std::vector<Candidate>& candidates, const AddOptions& options,
               const std::function<void(const Candidate&)>& place) {
    System& system = System::real();
    // Under the lock: an architecture or the component may have left the suite while packages were read.
    const auto suites = readSettings(layout);
    const SuiteSettings& settings = findSuite(suites, options.suite);
    NextSuite suite(layout, settings);
    Addition addition(suite);
    AddResult result;
    for (const Candidate& candidate : candidates) {
        findComponent(settings, candidate.component);
        // A package for an architecture that the suite does not have would be in no index.
        requireArchitecture(settings, candidate.record.architecture, candidate.path);
        if (!addition.take(candidate)) {
            result.present.push_back(idOf(candidate, settings));
            continue;
        }
        place(candidate);
        std::string stanza;
        appendStanza(stanza, candidate.record);
        suite.add(candidate.component, std::move(stanza));
        result.added.push_back(idOf(candidate, settings));
    }
    if (options.keep > 0) {
        for (const SuitePackage& package : olderThanNewest(suite.withChanges(), options.keep)) {
            suite.remove(package);
            result.removed.push_back(suite.idOf(package));
        }
    }
    if (!result.added.empty() || !result.removed.empty()) {
        // A copy of the repository may lack it: some programs leave out empty directories.
        makeDirectories(layout.root() + "/.bex/changes", system);
        suite.write(system);
    }
    return result;
}

std::string componentOf(const Layout& layout, const AddOptions& options) {
    return findComponent(findSuite(readSettings(layout), options.suite), options.component);
}

}  // namespace

AddResult add(const std::string& root, const std::vector<std::string>& packages, const AddOptions& options) {
    const Layout layout(root);
    // Before the lock: reading may take minutes, and other processes need not wait. The pool compares digests
    // again when it copies.
    const std::vector<Candidate> candidates = examineAll(packages, componentOf(layout, options), options);

    const Lock lock(root);
    PoolAddition pool(layout, System::real());
    AddResult result = note(layout, candidates, options,
                            [&](const Candidate& candidate) { pool.put(candidate, options.placement); });
    // Last: until the list of changes names them, files in the pool are removed again, and files to be moved stay
    // where they were.
    pool.keep();
    return result;
}

AddResult addScanned(const std::string& root, const std::vector<PackageRecord>& records,
                     const AddOptions& options) {
    const Layout layout(root);
    const std::string component = componentOf(layout, options);
    std::vector<Candidate> candidates;
    for (const PackageRecord& record : records) {
        candidates.push_back({record.filename, component, record});
    }
    const Lock lock(root);
    return note(layout, candidates, options, [&](const Candidate& candidate) {
        checkRecord(candidate.record, candidate.path);
        // Only the pool is the repository's own: files elsewhere are never removed.
        if (!stream::startsWith(candidate.path, "pool/")) {
            throw failure(ErrorKind::invalidInput, "invalid-input", candidate.path,
                          "is not in pool/ of the repository: scan with --root REPO");
        }
        if (sizeOfFile(layout.below(candidate.path)) != candidate.record.size) {
            throw failure(ErrorKind::invalidInput, "package-missing", candidate.path,
                          "is not there, or not of " + std::to_string(candidate.record.size) + " bytes");
        }
    });
}

}  // namespace bex::repo

void bexRepoAdd(const std::string& root, const std::vector<std::string>& packages,
                const bex::repo::AddOptions& options, bex::repo::AddResult& result) {
    result = bex::repo::add(root, packages, options);
}

void bexRepoAddScanned(const std::string& root, const std::vector<bex::repo::PackageRecord>& records,
                       const bex::repo::AddOptions& options, bex::repo::AddResult& result) {
    result = bex::repo::addScanned(root, records, options);
}

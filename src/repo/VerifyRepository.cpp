#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "bex/repo/Verify.hpp"
#include "repo/base/Failure.hpp"
#include "repo/files/Directory.hpp"
#include "repo/publish/Generations.hpp"
#include "repo/suite/NextSuite.hpp"
#include "repo/verify/PackageCheck.hpp"
#include "repo/verify/SuiteCheck.hpp"
#include "stream/base/WorkPool.hpp"

namespace bex::repo {

namespace {

using Packages = std::map<std::string, PackageRecord>;

std::vector<std::string> suitesOf(const RepositoryFiles& files, const RepositoryCheck& check) {
    if (!check.suite.empty()) {
        return {check.suite};
    }
    // A web server can't be asked for the names in a directory.
    if (!files.isDirectory()) {
        return {"stable"};
    }
    const auto suites = namesIn(files.root() + "/dists", System::real());
    if (suites.empty()) {
        throw failure(ErrorKind::inputOutput, "input-output", files.root(), "has no suite in dists/");
    }
    return suites;
}

void checkPackages(const RepositoryFiles& files, const Packages& packages, const RepositoryCheck& check,
                   FindingList& findings) {
    struct Job {
        const PackageRecord* record = nullptr;
        FindingList findings{""};
    };
    const unsigned threads = stream::threadCount(check.threads);
    stream::WorkPool<Job> pool(threads, stream::jobsInFlight(threads), [&] {
        return [&](Job& job) { checkPackage(files, *job.record, check, job.findings); };
    });
    // Findings come in the order of the packages, whichever thread was first.
    const auto take = [&] {
        findings.append(pool.front().findings);
        pool.pop();
    };
    for (const auto& package : packages) {
        if (pool.full()) {
            take();
        }
        pool.next() = {&package.second, FindingList(files.root())};
        pool.submit();
    }
    while (!pool.empty()) {
        take();
    }
}

/// Reports files of the pool that nothing lists: not published, not noted, not kept for clients that are late.
void checkPool(const RepositoryFiles& files, const std::string& path, const std::set<std::string>& listed,
               FindingList& findings) {
    for (const std::string& name : namesIn(files.root() + "/" + path, System::real())) {
        const std::string below = path + "/" + name;
        // What is not a regular file is taken for a directory.
        if (!sizeOfFile(files.root() + "/" + below)) {
            checkPool(files, below, listed, findings);
        } else if (listed.count(below) == 0) {
            findings.warning("unlisted", below, "is in the pool, but in no index");
        }
    }
}

/// The files that the pool has to have, or may have; nothing where a damaged suite, which is a finding, leaves
/// that open.
std::optional<std::set<std::string>> listedFiles(const RepositoryFiles& files, const Packages& packages,
                                                 const RepositoryCheck& check) {
    std::set<std::string> listed;
    for (const auto& package : packages) {
        listed.insert(package.first);
    }
    try {
        for (const PackageId& package : list(files.root(), {})) {
            listed.insert(package.filename);
        }
    } catch (const StreamError& error) {
        if (error.kind() != ErrorKind::damaged) {
            throw;
        }
        return std::nullopt;
    }
    // Kept for clients that have read an older generation.
    for (const std::string& suite : suitesOf(files, check)) {
        const std::set<std::string> drops = Generations(Layout(files.root()), suite).drops();
        listed.insert(drops.begin(), drops.end());
    }
    return listed;
}

}  // namespace

std::vector<stream::Finding> verifyRepository(const std::string& root, const RepositoryCheck& check) {
    const RepositoryFiles files(root, check);
    FindingList findings(root);
    Packages packages;
    for (const std::string& suite : suitesOf(files, check)) {
        SuiteCheck(files, check, "dists/" + suite, findings).run(packages);
    }
    checkPackages(files, packages, check, findings);
    // Only for a repository of our own, and for all of it: a pool may hold packages of suites that were not read.
    if (files.isDirectory() && check.suite.empty() && sizeOfFile(Layout(root).settings())) {
        if (const auto listed = listedFiles(files, packages, check)) {
            checkPool(files, "pool", *listed, findings);
        }
    }
    return findings.all();
}

}  // namespace bex::repo

void bexVerifyRepository(const std::string& root, const bex::repo::RepositoryCheck& check,
                         std::vector<bex::stream::Finding>& findings) {
    findings = bex::repo::verifyRepository(root, check);
}

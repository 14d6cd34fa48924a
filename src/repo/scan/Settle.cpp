#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "bex/repo/Scan.hpp"
#include "bex/stream/Escape.hpp"
#include "bex/stream/Version.hpp"
#include "repo/base/Failure.hpp"

namespace bex::repo {

namespace {

using stream::escapeForDisplay;
using stream::Version;

bool isSamePackage(const PackageRecord& a, const PackageRecord& b) {
    return std::tie(a.package, a.version, a.architecture) == std::tie(b.package, b.version, b.architecture);
}

std::string identityOf(const PackageRecord& record) {
    return record.package + " " + record.version + " " + record.architecture;
}

stream::ErrorRecord conflict(const PackageRecord& first, const PackageRecord& other) {
    return failure(ErrorKind::refused, "conflict", other.filename,
                   escapeForDisplay(identityOf(other)) + " has SHA-256 " + other.digests.sha256 + ", but " +
                       escapeForDisplay(first.filename) + " is the same version with SHA-256 " +
                       first.digests.sha256)
        .record();
}

}  // namespace

std::vector<stream::ErrorRecord> settle(std::vector<PackageRecord>& records, std::vector<std::string>& notes) {
    std::vector<stream::ErrorRecord> errors;
    // Records of one package are neighbours then, and of equal ones the first filename stays, whatever order they
    // came in.
    std::sort(records.begin(), records.end(), precedes);
    std::size_t kept = 0;
    for (PackageRecord& record : records) {
        if (kept == 0 || !isSamePackage(records[kept - 1], record)) {
            // A string that is moved onto itself may be left empty.
            if (&records[kept] != &record) {
                records[kept] = std::move(record);
            }
            ++kept;
            continue;
        }
        const PackageRecord& first = records[kept - 1];
        if (first.digests.sha256 != record.digests.sha256) {  // guard: one version with other bytes
            errors.push_back(conflict(first, record));
        } else if (first.filename != record.filename) {
            notes.push_back(escapeForDisplay(record.filename) + ": left out: " + escapeForDisplay(first.filename) +
                            " has the same bytes");
        }
    }
    records.resize(kept);
    return errors;
}

void keepNewest(std::vector<PackageRecord>& records, std::vector<std::string>& notes) {
    // Keys and pointers lead into `records`, so that nothing in it moves before both passes below are over.
    std::map<std::pair<std::string_view, std::string_view>, const PackageRecord*> newest;
    for (const PackageRecord& record : records) {
        const PackageRecord*& best = newest[{record.package, record.architecture}];
        // Of equal versions with other texts ("1" and "1-0") the first in order stays.
        if (best == nullptr || Version::parse(best->version) < Version::parse(record.version)) {
            best = &record;
        }
    }
    std::vector<PackageRecord> kept;
    std::vector<bool> stays;
    for (const PackageRecord& record : records) {
        const PackageRecord& best = *newest[{record.package, record.architecture}];
        stays.push_back(&best == &record);
        if (!stays.back()) {
            notes.push_back(escapeForDisplay(record.filename) + ": left out: " + escapeForDisplay(best.filename) +
                            " has version " + escapeForDisplay(best.version));
        }
    }
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (stays[i]) {
            kept.push_back(std::move(records[i]));
        }
    }
    records = std::move(kept);
}

}  // namespace bex::repo

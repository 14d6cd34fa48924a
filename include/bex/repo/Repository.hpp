#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "bex/repo/PackageRecord.hpp"
#include "bex/stream/Compression.hpp"
#include "bex/stream/Export.hpp"
#include "bex/stream/ReadOptions.hpp"

/// A repository that apt installs from, in one directory: packages in `pool/`, indexes in `dists/SUITE/`
/// (https://wiki.debian.org/DebianRepository/Format), and data for the next publication in `.bex/`. The
/// published indexes are the state: packages that were added or removed since then are listed in `.bex/changes/`
/// until publish() has written them.
///
/// Every function names the repository by the path of its directory and throws stream::StreamError. Functions
/// that change something wait for the repository's lock, so several processes may call them at once. None of them
/// leaves anything half-done. A suite is named by its Suite field; "" means the only one.
namespace bex::repo {

/// The settings of a suite. For an existing suite, empty texts and lists leave a setting as it is.
struct SuiteSettings {
    std::string suite = "stable";
    std::string codename;                    ///< of a new suite: by default as `suite`
    std::vector<std::string> components;     ///< of a new suite: by default "main"
    std::vector<std::string> architectures;  ///< of a new suite: by default this machine's
    std::string origin;
    std::string label;
    std::string description;
};

/// Makes the repository's directory and the suite if they do not exist, or changes the suite's settings.
/// Clients see the suite, or the change, after the next publish().
BEX_EXPORT void init(const std::string& root, const SuiteSettings& settings);

/// One package of a suite.
struct PackageId {
    std::string suite;
    std::string component;
    std::string name;
    std::string version;
    std::string architecture;
    std::string filename;  ///< below the repository: "pool/main/h/hello/hello_1.0_amd64.deb"
};

/// How a package's file gets into the pool.
enum class Placement {
    copy,
    link,  ///< a hard link; a copy if the file system does not support it
    move
};

struct AddOptions {
    std::string suite;
    std::string component;  ///< "": the first of the suite
    Placement placement = Placement::copy;
    std::vector<std::string> allow;  ///< codes of findings of verify() that do not refuse the package
    std::size_t keep = 0;            ///< how many versions of each package are kept; 0: all
    stream::ReadOptions reading;
};

struct AddResult {
    std::vector<PackageId> added;
    std::vector<PackageId> present;  ///< packages that were in the suite already, with the same bytes
    std::vector<PackageId> removed;  ///< by AddOptions::keep
};

/// Verifies the packages, adds them to the pool and notes them for the next publish(): all of them, or none.
/// Refuses a package with an error that `allow` does not name, one of an architecture that the suite does not
/// have, and one whose name and version the repository has with other contents.
BEX_EXPORT AddResult add(const std::string& root, const std::vector<std::string>& packages,
                         const AddOptions& options);

/// Notes packages for the next publish() that are in the pool already and were scanned, perhaps by several
/// machines (mergeShards()); their filenames begin with "pool/". They are not opened: only the size of each file
/// is compared. All of them, or none, for the reasons of add(); `allow`, `placement` and `reading` have no effect.
BEX_EXPORT AddResult addScanned(const std::string& root, const std::vector<PackageRecord>& records,
                                const AddOptions& options);

/// Packages that are chosen by name: a glob(7) pattern, or a name with a bound for the version such as
/// "hello (<< 2.0)", either with ":ARCHITECTURE" after the name.
struct Query {
    std::string suite;      ///< for list(): "" stands for all
    std::string component;  ///< "": all
    std::vector<std::string> packages;
};

/// The packages of the suites as the next publish() will list them, by suite, component, name and version; all of
/// them if Query::packages is empty.
BEX_EXPORT std::vector<PackageId> list(const std::string& root, const Query& query);

/// Removes the chosen packages from the suite, except the newest `keep` versions of each. If `keep` is above 0 and
/// Query::packages is empty, every package is chosen. Their files are removed from the pool when no generation
/// that clients may still read has them. Throws (`invalidInput`) if one of the queries matches no package.
BEX_EXPORT std::vector<PackageId> remove(const std::string& root, const Query& query, std::size_t keep = 0);

/// Adds the chosen packages of the query's suite to another suite, in the same component. Returns those that it
/// did not have. Throws as remove(), and if the other suite has the name and version of a package with other
/// contents.
BEX_EXPORT std::vector<PackageId> promote(const std::string& root, const Query& query, const std::string& to);

struct PublishOptions {
    std::string suite;  ///< "": all
    /// For each Packages file: gzip, xz, zstd, and none for an uncompressed file.
    std::vector<stream::Compression> compressions = {stream::Compression::gzip, stream::Compression::zstd};
    bool contents = false;  ///< also write Contents-ARCHITECTURE.gz
    /// The Date of the publication, in seconds since 1970. Unset: SOURCE_DATE_EPOCH of the environment, else the
    /// clock.
    std::optional<std::int64_t> date;
    std::chrono::seconds validFor{0};  ///< Valid-Until after Date; 0: none
    unsigned keepGenerations = 3;      ///< of by-hash files, including the new one; at least 1

    /// The signing key: the name of a key for gpg, a file for another signer. "": nothing is signed.
    std::string key;
    /// The command of a Stateless OpenPGP implementation, with arguments of its own, separated by blanks. "": gpg.
    std::string signer;
    std::chrono::seconds signerTimeout{300};
    bool unsignedAgain = false;  ///< remove the signatures of a signed suite

    bool html = false;  ///< also write pages for people: index.html and html/
    std::string url;    ///< of the repository, for index.html; "": a script on the page fills it in

    bool planOnly = false;  ///< write nothing
    unsigned threads = 0;   ///< 0: one for each processor
};

struct PublishResult {
    std::vector<std::string> written;  ///< paths below the repository, in order; empty if nothing had changed
    std::vector<std::string> removed;
};

/// Writes new indexes for what was added and removed. Clients see the old suite until the new InRelease
/// (Release, if nothing is signed) is renamed into place, and the whole new suite after that. By-hash files are
/// kept for `keepGenerations`, and for at least 15 minutes. Unchanged files are not written. Except for
/// signatures, the bytes depend only on packages, settings and date. Memory: about twice the longest Packages
/// file.
BEX_EXPORT PublishResult publish(const std::string& root, const PublishOptions& options);

}  // namespace bex::repo

/// The functions under names that dlsym(3) finds, for programs that load the library only when they need it.
extern "C" {
BEX_EXPORT void bexRepoInit(const std::string& root, const bex::repo::SuiteSettings& settings);
BEX_EXPORT void bexRepoAdd(const std::string& root, const std::vector<std::string>& packages,
                           const bex::repo::AddOptions& options, bex::repo::AddResult& result);
BEX_EXPORT void bexRepoAddScanned(const std::string& root, const std::vector<bex::repo::PackageRecord>& records,
                                  const bex::repo::AddOptions& options, bex::repo::AddResult& result);
BEX_EXPORT void bexRepoList(const std::string& root, const bex::repo::Query& query,
                            std::vector<bex::repo::PackageId>& found);
BEX_EXPORT void bexRepoRemove(const std::string& root, const bex::repo::Query& query, std::size_t keep,
                              std::vector<bex::repo::PackageId>& removed);
BEX_EXPORT void bexRepoPromote(const std::string& root, const bex::repo::Query& query, const std::string& to,
                               std::vector<bex::repo::PackageId>& promoted);
BEX_EXPORT void bexRepoPublish(const std::string& root, const bex::repo::PublishOptions& options,
                               bex::repo::PublishResult& result);
}

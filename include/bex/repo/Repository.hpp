#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Export.hpp"
#include "bex/stream/ReadOptions.hpp"

/// A repository that apt installs from, in one directory: packages in `pool/`, indexes in `dists/SUITE/`
/// (https://wiki.debian.org/DebianRepository/Format), and in `.bex/` what the next publication needs to know. The
/// published indexes are the state: packages that were added or removed since then are listed in `.bex/changes/`
/// until publish() has written them.
///
/// Every function names the repository by the path of its directory and throws stream::StreamError. Those that
/// change something wait for the repository's lock, so that several processes may call them at once; none of them
/// leaves anything half-done. A suite is named by its Suite field; "" stands for the only one.
namespace bex::repo {

/// What a suite is. Texts that are empty and lists that are empty keep what a suite has that exists already.
struct SuiteSettings {
    std::string suite = "stable";
    std::string codename;                    ///< of a new suite: as `suite` where none is given
    std::vector<std::string> components;     ///< of a new suite: "main" where none is given
    std::vector<std::string> architectures;  ///< of a new suite: this machine's; packages for "all" are in each
    std::string origin;
    std::string label;
    std::string description;
};

/// Makes the repository's directory and the suite where they do not exist, or changes the suite's settings.
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
    link,  ///< a hard link; a copy where the file system has none
    move
};

struct AddOptions {
    std::string suite;
    std::string component;  ///< "": the first of the suite
    Placement placement = Placement::copy;
    std::vector<std::string> allow;  ///< codes of findings of verify() that do not refuse the package
    std::size_t keep = 0;            ///< how many versions of each package stay; 0: all
    stream::ReadOptions reading;
};

struct AddResult {
    std::vector<PackageId> added;
    std::vector<PackageId> present;  ///< were in the suite already, with the same bytes
    std::vector<PackageId> removed;  ///< by AddOptions::keep
};

/// Verifies the packages, puts them into the pool and notes them for the next publish(). All of them, or none:
/// refused are a package with an error that `allow` does not name, one of another architecture than the suite's,
/// and one whose name and version the repository has with other contents.
BEX_EXPORT AddResult add(const std::string& root, const std::vector<std::string>& packages,
                         const AddOptions& options);

/// Packages that are chosen by name: a glob(7) pattern, or a name with a bound for the version such as
/// "hello (<< 2.0)", either with ":ARCHITECTURE" after the name.
struct Query {
    std::string suite;      ///< for list(): "" stands for all
    std::string component;  ///< "": all
    std::vector<std::string> packages;
};

/// The packages of the suites as the next publish() will list them, by suite, component, name and version; all of
/// them where Query::packages is empty.
BEX_EXPORT std::vector<PackageId> list(const std::string& root, const Query& query);

/// Takes the chosen packages out of the suite, all but the newest `keep` versions of each. Without
/// Query::packages, and `keep` above 0, every package is chosen. Their files leave the pool when no generation
/// that clients may still read has them. Throws (`invalidInput`) where one of the queries finds no package.
BEX_EXPORT std::vector<PackageId> remove(const std::string& root, const Query& query, std::size_t keep = 0);

/// Puts the chosen packages of the query's suite into another one, with the component that they have. Returns
/// those that were not there. Throws as remove(), and where the other suite has a package's name and version with
/// other contents.
BEX_EXPORT std::vector<PackageId> promote(const std::string& root, const Query& query, const std::string& to);

struct PublishOptions {
    std::string suite;  ///< "": all
    /// Of each Packages file; the uncompressed one is written where `none` is among them. gzip, xz and zstd.
    std::vector<stream::Compression> compressions = {stream::Compression::gzip, stream::Compression::zstd};
    bool contents = false;  ///< write Contents-ARCHITECTURE.gz, too
    /// The Date of what is published, in seconds since 1970. Without one: SOURCE_DATE_EPOCH where the environment
    /// has it, else the clock.
    std::optional<std::int64_t> date;
    std::chrono::seconds validFor{0};  ///< Valid-Until after Date; 0: none
    unsigned keepGenerations = 3;      ///< of by-hash files, the new one among them; at least 1

    /// The key that signs: a name of a key for gpg, a file for another signer. "": nothing is signed.
    std::string key;
    /// The command of a Stateless OpenPGP implementation, with arguments of its own, separated by blanks. "": gpg.
    std::string signer;
    std::chrono::seconds signerTimeout{300};
    bool unsignedAgain = false;  ///< take the signatures of a signed suite away

    bool html = false;  ///< then write pages for people, too: index.html and html/
    std::string url;    ///< of the repository, for index.html; "": a script on the page finds it out

    bool planOnly = false;  ///< write nothing
    unsigned threads = 0;   ///< 0: one for each processor
};

struct PublishResult {
    std::vector<std::string> written;  ///< paths below the repository, in order; empty where nothing had changed
    std::vector<std::string> removed;
};

/// Writes the indexes of what was added and removed, so that clients see the suite as it was until its InRelease
/// (Release, where nothing is signed) is renamed into place, and then all of the new one: by-hash files stay for
/// as many generations as asked for, and at least a quarter of an hour. What would not change is not written. The
/// bytes depend on packages, settings and date only, signatures excepted.
/// Memory: twice the longest Packages file, about.
BEX_EXPORT PublishResult publish(const std::string& root, const PublishOptions& options);

}  // namespace bex::repo

/// The functions under names that dlsym(3) finds, for programs that load the library only when they need it.
extern "C" {
BEX_EXPORT void bexRepoInit(const std::string& root, const bex::repo::SuiteSettings& settings);
BEX_EXPORT void bexRepoAdd(const std::string& root, const std::vector<std::string>& packages,
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

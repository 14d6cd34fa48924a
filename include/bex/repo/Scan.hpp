#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "bex/repo/PackageRecord.hpp"
#include "bex/stream/Export.hpp"
#include "bex/stream/Limits.hpp"
#include "bex/stream/Progress.hpp"
#include "bex/stream/StreamError.hpp"

namespace bex::repo {

/// Which packages are scanned, and how.
struct ScanOptions {
    /// Directories, searched with everything below them, and files. Each package gets the path by which it was
    /// found as its Filename, so they are relative and without "..".
    std::vector<std::string> inputs;
    /// The root of the repository, to which `inputs` and Filename are relative; empty: the current
    /// directory.
    std::string root;
    /// In directories, names that end in one of these are packages.
    std::vector<std::string> suffixes = {".deb", ".bex"};
    DigestChoice digests;
    /// A SQLite file with results of earlier scans, created if it does not exist; empty: no cache. Several scans
    /// may share it. It may be deleted at any time.
    std::string cache;
    /// Skip packages with errors instead of returning no records.
    bool keepGoing = false;
    unsigned threads = 0;  ///< 0: one for each processor
    stream::Limits limits;
    /// bytesDone counts bytes of package files; bytesTotal stays 0. Called by one thread at a time, not always the
    /// same, at most twenty times a second and once at the end.
    stream::ProgressCallback progress;
};

/// The results of a scan or a merge.
struct ScanReport {
    std::vector<PackageRecord> records;       ///< by precedes(), each package once
    std::vector<stream::ErrorRecord> errors;  ///< one for each package that cannot be indexed, by its name
    std::vector<std::string> notes;           ///< one line for people each
    std::size_t fromCache = 0;                ///< packages that were not opened
};

/// Scans packages. Opens each once and reads its control paragraph from the bytes that it hashes. Checks the
/// structure and the control archive, not the payload, which verify() checks.
///
/// These are refused, each by an entry of ScanReport::errors, with these codes beside those of PackageReader: what
/// is not a regular file ("not-a-file"), an empty file ("truncated"), a path ("unsafe-filename") or a Package,
/// Version or Architecture ("stanza") that checkRecord() refuses, a package that changes while it is read
/// ("changed"), and two packages of one name, version and architecture with other bytes ("conflict"). Two equal
/// files give one record, with the first name. Symlinks are followed; no directory is searched twice, so loops
/// end.
///
/// The records depend on the packages alone, not on threads, cache or the order of inputs. Memory grows with their
/// number, by some 2 KiB each. Throws StreamError for errors that do not concern a single package: a missing
/// input, a file that is not a cache ("not-a-cache"), `cancelled`.
BEX_EXPORT ScanReport scan(const ScanOptions& options);

/// Receives a text piece by piece, in order. Its exceptions pass through.
using TextSink = std::function<void(std::string_view)>;

/// Writes the records as a Packages index, in pieces of about a mebibyte.
BEX_EXPORT void writeIndex(const std::vector<PackageRecord>& records, const TextSink& out);

/// Writes the records as a shard, a text for mergeShards(). The first line says which digests it has, the last
/// line whether it is complete.
BEX_EXPORT void writeShard(const std::vector<PackageRecord>& records, DigestChoice digests, const TextSink& out);

/// Joins shards: the result is that of one scan of all their packages. The order of the shards does not matter,
/// and merged shards may be merged again. Errors are as for scan(), for two packages that contradict each
/// other. Sets `digests` to those of the shards. Throws StreamError for a shard that cannot be read, is
/// incomplete or was changed (`damaged`, code "shard"), or has other digests than the one before
/// (`invalidInput`).
BEX_EXPORT ScanReport mergeShards(const std::vector<std::string>& paths, DigestChoice& digests);

/// Keeps only the newest version of each package for each architecture (deb-version(7)), and appends a note for
/// each record that it drops.
BEX_EXPORT void keepNewest(std::vector<PackageRecord>& records, std::vector<std::string>& notes);

/// Sorts the records by precedes() and keeps only the first of those with one package, version, architecture and
/// SHA-256. Returns an error (`refused`, code "conflict") for each two whose digests differ.
BEX_EXPORT std::vector<stream::ErrorRecord> settle(std::vector<PackageRecord>& records,
                                                   std::vector<std::string>& notes);

}  // namespace bex::repo

// The same under names that dlsym(3) finds, for programs that load the library only when they need it.
extern "C" {
BEX_EXPORT void bexScan(const bex::repo::ScanOptions& options, bex::repo::ScanReport& report);
BEX_EXPORT void bexMergeShards(const std::vector<std::string>& paths, bex::repo::DigestChoice& digests,
                               bex::repo::ScanReport& report);
BEX_EXPORT void bexKeepNewest(bex::repo::ScanReport& report);
BEX_EXPORT void bexWriteIndex(const std::vector<bex::repo::PackageRecord>& records,
                              const bex::repo::TextSink& out);
BEX_EXPORT void bexWriteShard(const std::vector<bex::repo::PackageRecord>& records,
                              bex::repo::DigestChoice digests, const bex::repo::TextSink& out);
}

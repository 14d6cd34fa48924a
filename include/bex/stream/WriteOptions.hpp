#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/Finding.hpp"
#include "bex/stream/Progress.hpp"

namespace bex::stream {

/// How PackageWriter::write() works.
struct WriteOptions {
    Compression compression = Compression::gzip;    ///< bzip2 is not written
    std::optional<int> level;                       ///< as levelsOf() says; unset: the usual one
    unsigned threads = 0;                           ///< 0: one for each processor. The bytes do not depend on it.
    std::size_t blockBytes = std::size_t{1} << 20;  ///< payload bytes that are compressed as one block
    /// End a gzip payload of more than one block with an index, for IndexedPackage; other readers pass over it.
    bool index = true;
    /// gzip: write each archive as one gzip member, for readers that stop after the first. Such a payload is
    /// compressed by one thread, with the levels 0 to 9, and has no index.
    bool singleStream = false;
    /// Make the control member "md5sums": every name of a regular file but conffiles, which users change.
    bool md5sums = true;
    /// Set Installed-Size unless the paragraph gives it: each file's and symlink's size in whole KiB, a file with
    /// several names once, and 1 KiB for every directory (deb-substvars(5)).
    bool installedSize = true;
    /// Set Installed-Size anew where the paragraph gives it, too, in its place.
    bool renewInstalledSize = false;
    /// Keep the owners that sources have on disk, by number and by the system's name for it, instead of root.
    bool keepOwner = false;
    /// Give what comes from disk modes that do not depend on the umask: directories 0755, files 0755 where their
    /// owner may execute them, else 0644. Set-id bits are kept. Modes that are given or set by a rule stay.
    bool normalizeModes = false;
    /// Later times are set back to this, in seconds since 1970. Unset: the environment's SOURCE_DATE_EPOCH.
    /// In any case times before 1970 become 1970, and times after 2242, for which tar has no digits, 2242.
    std::optional<std::int64_t> latestTime;
    /// The time of what has none of its own: directories that nobody gave, contents from memory, the control
    /// archive and the package's members. Unset: the newest time of all that has one.
    std::optional<std::int64_t> commonTime;
    /// Read the finished package back before it appears under its name and compare every entry, with its
    /// attributes and bytes, and every control member with its source. Contents are read twice, and `progress`
    /// counts them twice. Only where write() is given a path.
    bool check = false;
    /// Make every check that does not read contents, and write nothing: not even the temporary file is made.
    bool dryRun = false;
    /// Called for each entry of the payload, as it will be stored and in order, before anything is written.
    std::function<void(const Entry&)> onEntry = nullptr;
    /// Called for each file of the control archive, as it will be stored and in order, with its contents, before
    /// the archive is written. A dry run reads no payload: of the "md5sums" that write() makes only the size is
    /// known then, and `contents` is empty.
    std::function<void(const Entry&, std::string_view contents)> onControlFile = nullptr;
    ProgressCallback progress;
};

/// What write() made or, in a dry run, would make.
struct WriteResult {
    std::uint64_t packageBytes = 0;  ///< length of the package file; 0 in a dry run
    std::uint64_t payloadBytes = 0;  ///< contents of the payload's files, unpacked
    std::uint64_t indexBytes = 0;    ///< of the package, that are the payload's index; 0 where it has none
    std::uint64_t entries = 0;       ///< entries of the payload
    /// What others will not be able to do with the package, none of which keeps it from being written:
    /// `script-no-interpreter`, a maintainer script that names no interpreter; `path-long`, a name that is too
    /// long for dpkg to unpack; `limit`, a package that a reader refuses unless
    /// the field `limit` of its Limits is raised (the expansion only shows once the package is written).
    std::vector<Finding> notes;
};

}  // namespace bex::stream

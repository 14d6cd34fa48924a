#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/Finding.hpp"
#include "bex/stream/Progress.hpp"
#include "bex/stream/TrailingMember.hpp"

namespace bex::stream {

/// How PackageWriter::write() works.
struct WriteOptions {
    Compression compression = Compression::gzip;    ///< bzip2 is not written
    std::optional<int> level;                       ///< as levelsOf() says; unset: the usual one
    unsigned threads = 0;                           ///< 0: one for each processor. The bytes do not depend on it.
    std::size_t blockBytes = std::size_t{1} << 20;  ///< payload bytes that are compressed as one block
    /// End a gzip payload of more than one block with an index, for IndexedPackage; other readers ignore it.
    bool index = true;
    /// gzip: write each archive as one gzip member, for readers that stop after the first. Such a payload is
    /// compressed by one thread, with the levels 0 to 9, and has no index.
    bool singleStream = false;
    /// Make the control member "md5sums", with every name of a regular file except conffiles, which users change.
    bool md5sums = true;
    /// Set Installed-Size unless the paragraph has it: the size of each file and symlink in whole KiB (a file with
    /// several names counts once), and 1 KiB for every directory (deb-substvars(5)).
    bool installedSize = true;
    /// Also replace an Installed-Size that the paragraph has, in its place.
    bool renewInstalledSize = false;
    /// Keep the owners of sources on disk, by number and by the name on this system, instead of root.
    bool keepOwner = false;
    /// Give files and directories from disk modes that do not depend on the umask: directories 0755, files 0755 if
    /// their owner may execute them, else 0644. Keeps set-id bits, and modes that are given or set by a rule.
    bool normalizeModes = false;
    /// Later times are set back to this, in seconds since 1970. Unset: SOURCE_DATE_EPOCH of the environment.
    /// Times before 1970 always become 1970, and times after 2242, for which tar has no digits, become 2242.
    std::optional<std::int64_t> latestTime;
    /// The time of everything without its own time: implied directories, contents from memory, the control
    /// archive and the package's members. Unset: the newest time of any entry.
    std::optional<std::int64_t> commonTime;
    /// Read the finished package back before it appears under its name and compare every entry, with its
    /// attributes and bytes, and every control member with its source. Contents are read twice, and `progress`
    /// counts them twice. Only for write() to a path.
    bool check = false;
    /// Make every check that does not read contents, and write nothing: not even the temporary file is made.
    bool dryRun = false;
    /// Called for each entry of the payload, as it will be stored and in order, before anything is written.
    std::function<void(const Entry&)> onEntry = nullptr;
    /// Called for each file of the control archive, as it will be stored and in order, with its contents, before
    /// the archive is written. A dry run reads no payload. So it knows only the size of the "md5sums" that write()
    /// makes, and their `contents` is empty.
    std::function<void(const Entry&, std::string_view contents)> onControlFile = nullptr;
    /// Members after the data member, in this order. They are made when all that they cover is complete, and
    /// before its first byte reaches the target: if a maker throws, no package appears, and a Sink has received
    /// nothing. Cost: the compressed payload is read once more.
    std::vector<TrailingMember> trailing;
    ProgressCallback progress;
};

/// What write() made or, in a dry run, would have made.
struct WriteResult {
    std::uint64_t packageBytes = 0;  ///< length of the package file; 0 in a dry run
    std::uint64_t payloadBytes = 0;  ///< contents of the payload's files, unpacked
    std::uint64_t indexBytes = 0;    ///< size of the payload's index; 0 if it has none
    std::uint64_t entries = 0;       ///< entries of the payload
    /// Warnings about the package, which was written all the same: `script-no-interpreter`, a maintainer script
    /// that names no interpreter; `path-long`, a name that is too long for dpkg to unpack; `limit`, a package that
    /// readers refuse unless the field `limit` of their Limits is raised (the expansion is known only after the
    /// package is written).
    std::vector<Finding> notes;
};

}  // namespace bex::stream

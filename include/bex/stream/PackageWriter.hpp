#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Compression.hpp"
#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/Progress.hpp"
#include "bex/stream/Sink.hpp"

namespace bex::stream {

class PackageReader;
class System;

/// How PackageWriter::addTree() takes a tree.
struct TreeOptions {
    /// Directory in the package below which the tree is placed, such as "opt/site"; "" is the root.
    std::string prefix;
    /// Paths relative to the tree, without a leading "/", that are left out with all below them.
    std::vector<std::string> exclude;
    /// Leaves sockets, FIFOs and devices out instead of refusing them.
    bool skipSpecialFiles = false;
};

/// Attributes of what does not come from disk.
struct Attributes {
    std::uint32_t mode = 0644;
    /// Seconds since 1970. Unset: the newest time that anything in the package has, so that equal input gives
    /// equal bytes; where nothing has one, WriteOptions::latestTime, or 0.
    std::optional<std::int64_t> mtime;
};

/// How PackageWriter::write() works.
struct WriteOptions {
    Compression compression = Compression::gzip;  ///< bzip2 is not written
    /// gzip 0 to 12, zstd 1 to 19, xz 0 to 9; unset: 6, 3 and 6.
    std::optional<int> level;
    unsigned threads = 0;                           ///< 0: one for each processor. The bytes do not depend on it.
    std::size_t blockBytes = std::size_t{1} << 20;  ///< payload bytes that are compressed as one block
    /// Make the control member "md5sums": every name of a regular file but conffiles, which are there to be
    /// changed.
    bool md5sums = true;
    /// Set Installed-Size unless the paragraph gives it: each file's and symlink's size in whole KiB, a file with
    /// several names once, and 1 KiB for every directory (deb-substvars(5)).
    bool installedSize = true;
    bool keepOwner = false;  ///< owners as on disk, by number and the system's name for it, instead of root
    /// Later times are set back to this, in seconds since 1970. Unset: the environment's SOURCE_DATE_EPOCH.
    /// Whatever this says, times before 1970 become 1970 and times after 2242, for which tar has no digits, 2242.
    std::optional<std::int64_t> latestTime;
    ProgressCallback progress;
};

/// What write() made.
struct WriteResult {
    std::uint64_t packageBytes = 0;  ///< length of the package file
    std::uint64_t payloadBytes = 0;  ///< contents of the payload's files, unpacked
    std::uint64_t entries = 0;       ///< entries of the payload
};

/// Collects what goes into a package, then writes it in one pass over the contents, in memory that depends on
/// threads and block size and, by some hundred bytes each, on the number of entries.
///
/// Paths in the package are taken with or without a leading "/" or "./"; ".." and names with NUL or newline are
/// refused. Every parent directory gets an entry. Entries are sorted bytewise, "/" before every other byte, so
/// that a directory is followed by all that is below it; owners are root:root unless kept, symlinks stay symlinks,
/// a file with several names below one tree is stored once: under the first, the others become hard links.
/// A directory may be given several times, the last one counts.
/// Nothing is lost in silence: what cannot be read, vanishes or changes after it was added or while it is read,
/// sockets, FIFOs and devices, and two sources for one path are errors that name source and reason. Attributes and
/// targets of symlinks are those at the time of adding; a relative path of a source must lead to it until write()
/// is through.
///
/// Used by one thread at a time; several writers may run in different threads. Movable, not copyable.
class BEX_EXPORT PackageWriter {
public:
    PackageWriter();
    /// The same with the system's calls replaced; for tests.
    explicit PackageWriter(System& system);
    ~PackageWriter();
    PackageWriter(PackageWriter&&) noexcept;
    PackageWriter& operator=(PackageWriter&&) noexcept;

    /// The control paragraph, to be filled by the caller before write().
    ControlParagraph& control() noexcept;
    const ControlParagraph& control() const noexcept;

    /// Walks the tree now (not the contents of its files); no symlink is followed but `source` itself. The tree's
    /// root becomes the directory `options.prefix`.
    /// Throws StreamError (`inputOutput` for what cannot be read, `invalidInput` for what cannot be packaged);
    /// nothing of the tree is added then.
    void addTree(const std::string& source, const TreeOptions& options = {});

    /// One regular file or symlink from disk. Throws as addTree().
    void addFile(const std::string& source, const std::string& path);
    /// Only the contents of a regular file from disk; mode and time are those given, the owner is root.
    void addFile(const std::string& source, const std::string& path, const Attributes& attributes);

    void addBytes(std::string bytes, const std::string& path, const Attributes& attributes = {});
    void addSymlink(const std::string& target, const std::string& path, const Attributes& attributes = {});
    void addDirectory(const std::string& path, const Attributes& attributes = {0755, {}});

    /// Sets the permission bits of every file and directory (not of symlinks) whose path, without a leading
    /// "./", matches the pattern (glob(7), byte by byte in every locale, "*" matches "/" too), whatever the mode
    /// on disk. A later call wins over an earlier one. A file with several names takes the last rule that matches
    /// any.
    void setMode(const std::string& pattern, std::uint32_t mode);

    /// A maintainer script ("preinst", "postinst", "prerm", "postrm", "config"), stored with mode 0755, or any
    /// further control member ("triggers", "shlibs", "templates", ...), stored with mode 0644.
    /// Throws StreamError (`invalidInput`) for a name that is given twice, that is no plain file name, or that
    /// the writer makes itself ("control", "conffiles"; "md5sums" unless write() is told not to make it).
    void addControlMember(const std::string& name, std::string contents);

    /// Marks a file of the payload as configuration. write() refuses one that is no regular file of the payload.
    void addConffile(const std::string& path);
    /// Marks a configuration file that earlier versions had and that dpkg is to remove (deb-conffiles(5),
    /// "remove-on-upgrade"). write() refuses one that the payload has.
    void addRemovedConffile(const std::string& path);

    /// What the payload will hold, in order, with final owners, modes and times. Cost: one sort of the entries.
    /// Throws StreamError (`invalidInput`) for two sources of one path, and for a file where a directory is
    /// needed.
    std::vector<Entry> plan(const WriteOptions& options = {}) const;

    /// Writes the package to `path`, as AtomicFile promises: on any failure, cancellation included, the target
    /// is what it was and nothing else is left. Throws StreamError: `invalidInput` with every fault of the
    /// control paragraph before anything is opened, for options that the compression does not know, and for a
    /// member over the 9999999999 bytes that ar can tell (before anything is written where compression can't make
    /// it smaller, else as soon as it is over); `cancelled`; else as above.
    WriteResult write(const std::string& path, const WriteOptions& options = {}) const;

    /// Writes the package to `out`, front to back; where that has to be made permanent, it is left to the caller.
    /// `temporaryFolder` takes the compressed payload, unnamed, until its length is known. Throws as above and
    /// whatever `out` throws.
    WriteResult write(Sink& out, const std::string& temporaryFolder, const WriteOptions& options = {}) const;

    /// Holds a package that was just written against what was meant to be written: every entry of the payload
    /// with its attributes, and every file's bytes, which are read from their sources once more.
    /// Throws StreamError: `damaged` naming the first entry that differs; what the reader and the sources throw.
    void compare(PackageReader& package, const WriteOptions& options = {}) const;

private:
    class Contents;
    std::unique_ptr<Contents> contents_;
};

}  // namespace bex::stream

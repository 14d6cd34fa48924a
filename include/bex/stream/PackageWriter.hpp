#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/Sink.hpp"
#include "bex/stream/WriteOptions.hpp"

namespace bex::stream {

class PackageReader;
class System;

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

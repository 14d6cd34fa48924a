#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Attributes.hpp"
#include "bex/stream/ContentReader.hpp"
#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/Sink.hpp"
#include "bex/stream/TreeOptions.hpp"
#include "bex/stream/WriteOptions.hpp"

namespace bex::stream {

class PackageReader;

/// Collects the contents of a package, then writes it in one pass over them. Memory depends on the number of
/// threads, the block size, and the number of entries (some hundred bytes each).
///
/// Paths in the package are given with or without a leading "/" or "./"; ".." and names with NUL or newline are
/// refused. Every parent directory gets an entry. Entries are sorted bytewise, "/" before every other byte, so
/// that a directory is followed by all that is below it. Owners are root:root unless they are given or kept.
/// Symlinks below a tree stay symlinks. A file with several names below one tree is stored once, under the first;
/// the others become hard links. A directory may be given several times, the last one counts.
///
/// Nothing is skipped silently. These are errors that name source and reason: a source that cannot be read, or
/// that vanishes or changes after it was added or while it is read; sockets, FIFOs and devices in a tree; two
/// sources for one path. A source has not changed if its size, modification time, mode, owner and contents are the
/// same; so a new hard link is not a change. Attributes and targets of symlinks are those at the time of adding.
/// Relative source paths must stay valid until write() returns.
///
/// Patterns are matched against whole paths, as Pattern::matches() does.
///
/// Contents that can be read only once, such as those of a pipe, are kept in an unnamed file in the directory that
/// the environment's TMPDIR names, or else in /tmp, until the writer is destroyed.
///
/// Used by one thread at a time; several writers may run in different threads. Movable, not copyable.
class BEX_EXPORT PackageWriter {
public:
    PackageWriter();
    ~PackageWriter();
    PackageWriter(PackageWriter&&) noexcept;
    PackageWriter& operator=(PackageWriter&&) noexcept;

    /// The control paragraph, to be filled by the caller before write().
    ControlParagraph& control() noexcept;
    const ControlParagraph& control() const noexcept;

    /// Walks the tree now, without reading the contents of its files. Follows no symlink except `source` itself.
    /// The tree's root becomes the directory `options.prefix` with mode 0755.
    /// Throws StreamError (`inputOutput` for what cannot be read, `invalidInput` for what cannot be packaged) and
    /// the exceptions of the filter; then nothing of the tree is added.
    void addTree(const std::string& source, const TreeOptions& options = {});

    /// One regular file from disk; a symlink under that name is followed. A FIFO, which includes the pipes that
    /// a shell names "/dev/fd/N", is read to its end now and gets default attributes. Throws as addTree().
    void addFile(const std::string& source, const std::string& path);
    /// Only the contents of the file; attributes are those given.
    void addFile(const std::string& source, const std::string& path, const Attributes& attributes);

    /// The contents of an open file. A regular file is read by write() from the descriptor's present position on,
    /// which is not moved; the descriptor must stay open until then. Anything else, such as a pipe, is read to its
    /// end now. Throws StreamError (`inputOutput`).
    void addDescriptor(int descriptor, const std::string& path, const Attributes& attributes = {});

    /// Contents of `size` bytes that `read` supplies when write() asks for them, once, and once more for
    /// WriteOptions::check. write() throws the exceptions of `read`, and StreamError (`inputOutput`) if the
    /// contents end early.
    void addContents(std::uint64_t size, ContentReader read, const std::string& path,
                     const Attributes& attributes = {});

    void addBytes(std::string bytes, const std::string& path, const Attributes& attributes = {});
    void addSymlink(const std::string& target, const std::string& path, const Attributes& attributes = {});
    void addDirectory(const std::string& path, const Attributes& attributes = {0755});

    /// A further name, `path`, of the regular file that the package has as `target`, added before or after. It has
    /// the file's attributes and contents. write() throws StreamError (`invalidInput`) if there is no such file.
    void addHardlink(const std::string& target, const std::string& path);

    /// Adds the entries that the reader has not returned yet, in one pass, with their attributes, owners, links
    /// and contents, except those for which `filter` returns false. It may change an entry's path, attributes and
    /// link target before it is added. Contents are unpacked into the writer's temporary file: it needs as much
    /// space as they do. Returns how many entries were added. Throws what the reader throws and StreamError
    /// (`invalidInput`) for devices and FIFOs; no entry is added then.
    std::uint64_t add(PackageReader& package, const std::function<bool(Entry&)>& filter = nullptr);
    /// Copies the control paragraph and every other control member: "conffiles" line by line, "md5sums" not at
    /// all, since write() makes it. Throws as addControlMember() and addConffiles().
    void addControl(const PackageReader& package);

    /// Sets the permission bits of every file and directory, but of no symlink, whose path matches the pattern,
    /// wherever they come from. A later call overrides an earlier one. A file with several names gets the mode of
    /// the last rule that matches any of them. write() throws StreamError (`invalidInput`) for a pattern that
    /// matches no file or directory.
    void setMode(const std::string& pattern, std::uint32_t mode);

    /// Sets owner and group of every entry, symlinks too, whose path matches the pattern, in the same way. It
    /// overrides attributes that are given and WriteOptions::keepOwner.
    void setOwner(const std::string& pattern, const Ownership& owner);

    /// A maintainer script ("preinst", "postinst", "prerm", "postrm", "config"), stored with mode 0755, or any
    /// further control member ("triggers", "shlibs", "templates", ...), stored with mode 0644.
    /// Throws StreamError (`invalidInput`) for a name that is given twice, that is not a plain file name, or that
    /// the writer makes itself ("control", "conffiles"; "md5sums" unless write() is told not to make it).
    void addControlMember(const std::string& name, std::string contents);

    /// Marks a file of the payload as configuration. write() refuses a path that is not a regular file of the
    /// payload.
    void addConffile(const std::string& path);
    /// Marks every regular file of the payload at or below this path as configuration, whenever it is added.
    void addConffilesBelow(const std::string& path);
    /// Marks a configuration file of earlier versions that dpkg must remove (deb-conffiles(5),
    /// "remove-on-upgrade"). write() refuses a path that the payload has.
    void addRemovedConffile(const std::string& path);

    /// Marks everything that the text of a control member "conffiles" lists, deb-conffiles(5). Blanks at the ends
    /// of lines and empty lines are dropped, and relative paths become absolute.
    void addConffiles(std::string_view text);

    /// What the payload will hold, in order, with final owners, modes and times. Cost: one sort of the entries.
    /// Throws StreamError (`invalidInput`) for what no package can hold: two sources of one path, a file where a
    /// directory is needed, a hard link, a conffile or a pattern without a file.
    std::vector<Entry> plan(const WriteOptions& options = {}) const;

    /// Writes the package to `path`, which keeps the old file until the new one is complete: the bytes go to an
    /// unnamed file in the same directory, which is synced and renamed over the target. After any error, including
    /// cancellation, the target is unchanged and nothing else is left. A symlink under that name is replaced
    /// itself. Needs as much space there as the package, and twice as much if the file system cannot punch holes
    /// into files.
    ///
    /// Throws StreamError: `invalidInput` with every fault of the control paragraph before anything is opened, as
    /// plan(), for options that the compression does not have, for a control member that dpkg would refuse
    /// ("triggers" that it cannot parse, a script whose first line ends with a carriage return), and for a member
    /// over the 9999999999 bytes that ar can store (before anything is written if compression cannot make it
    /// smaller, else as soon as it is larger); `damaged` naming the first entry or control member that
    /// WriteOptions::check finds to differ; `cancelled`; `invalidInput` for names that WriteOptions::trailing may
    /// not have; else as above. The exceptions of its makers pass through.
    WriteResult write(const std::string& path, const WriteOptions& options = {}) const;

    /// Writes the package to `out`, front to back; syncing `out` is the caller's task. `temporaryDirectory` is for
    /// an unnamed file with the compressed payload until its length is known; "": as for contents. Throws as above
    /// and whatever `out` throws.
    WriteResult write(Sink& out, const std::string& temporaryDirectory, const WriteOptions& options = {}) const;

private:
    friend struct WriterAccess;
    class Contents;

    explicit PackageWriter(std::unique_ptr<Contents> contents);
    void addEntry(const Entry& entry, PackageReader& package);

    std::unique_ptr<Contents> contents_;
};

}  // namespace bex::stream

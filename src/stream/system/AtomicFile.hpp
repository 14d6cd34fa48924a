#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "bex/stream/Sink.hpp"
#include "stream/system/Descriptor.hpp"
#include "stream/system/System.hpp"
#include "stream/system/TemporaryFile.hpp"

namespace bex::stream {

/// Where an AtomicFile is to appear: a name in an open directory.
struct Target {
    /// Opens the directory. Throws StreamError (`inputOutput`) when that fails, or when `path` is, or leads by a
    /// symlink to, something other than a regular file. A symlink into /proc counts as such: /dev/stdout is not
    /// there to be replaced.
    Target(std::string path, System& system);

    [[noreturn]] void fail(const char* action) const;  ///< with errno
    [[noreturn]] void refuse(const char* reason) const;

    std::string path;
    std::string name;  ///< the last component
    System& system;
    Descriptor directory;

private:
    void check() const;
    bool leadsIntoProc() const;
};

/// The directory that a path's last component stands in, "." where none is named.
std::string directoryOf(const std::string& path);

/// A file that appears under its name whole or not at all: the bytes go to a TemporaryFile in the target's
/// directory, which commit() syncs and renames over the target. Destroyed without commit(), it leaves the old file
/// alone and nothing else behind. A process that is killed leaves the target old or new; a temporary file's name
/// may stay if it is killed during commit(), or at any time where the file needs a name from the beginning.
/// The new file has the permissions that the process's umask gives a new file. The directory must be readable.
///
/// A symlink under the target's name is itself replaced; the file that it leads to stays as it is.
class AtomicFile : public Sink {
public:
    /// Opens the temporary file. Throws StreamError as Target does, and when that fails. `system` must outlive
    /// this.
    AtomicFile(std::string path, System& system);

    /// Throws StreamError after commit(), too: the target is never written in place.
    void write(const char* data, std::size_t size) override;

    /// Appends `size` bytes of an open file, from `offset` on: within the kernel where that is possible. `source`
    /// stands for the file in messages. Throws StreamError (`inputOutput`), also where the file ends earlier.
    void copy(int descriptor, const std::string& source, std::uint64_t offset, std::size_t size);

    /// Replaces bytes that were written; none may lie beyond the end. Throws as write().
    void rewrite(std::uint64_t offset, std::string_view bytes);

    /// Gives the file the owner and the permissions of another one: the owner as far as the process may. Throws
    /// StreamError (`inputOutput`). Call before commit().
    void takeAttributes(const struct stat& other);

    /// Syncs the contents, moves them to the target's name and syncs the directory. Throws StreamError; unless the
    /// message says that only the directory could not be synced, the target is then what it was. Call once, last.
    void commit();

    /// The first half of commit(), for a caller with several files to wait for. Files may be synced by different
    /// threads. Throws StreamError.
    void sync();

    /// The second half, but for the directory: the caller syncs it, once for all files in it. Call after sync(),
    /// once, last. Throws StreamError; the target is then what it was.
    void place();

    /// The path that the file gets.
    const std::string& path() const noexcept { return target_.path; }

    /// Open for reading and writing while this lives, owned by this: what was written can be read back before it
    /// is committed.
    int descriptor() const noexcept { return file_.get(); }

private:
    void requireUncommitted() const;
    ssize_t copyThroughMemory(int descriptor, const std::string& source, std::uint64_t offset, std::size_t size);
    void writeSoon(std::size_t appended);

    Target target_;
    TemporaryFile file_;
    std::size_t waiting_ = 0;  ///< bytes appended since the disk was last told to begin
    bool committed_ = false;
};

}  // namespace bex::stream

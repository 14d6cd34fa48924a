#pragma once

#include <memory>
#include <string>

#include "bex/stream/Sink.hpp"

namespace bex::stream {

class System;

/// A file that appears under its name whole or not at all: the bytes go to an unnamed file in the target's
/// folder (one with a hidden temporary name, ".bex-" and random digits, where the system has no unnamed files),
/// which commit() syncs and renames over the target. Destroyed without commit(), it leaves the old file alone and
/// nothing else behind. A process that is killed leaves the target old or new; in the moment of commit(), or
/// where the temporary file has a name, that name may stay.
/// The new file has the permissions that the process's umask gives a new file. The folder must be readable.
///
/// A symlink under the target's name is itself replaced, and what it leads to is left alone.
class BEX_EXPORT AtomicFile : public Sink {
public:
    /// Opens the temporary file. Throws StreamError (`inputOutput`) when that fails, or when `path` is, or leads
    /// by a symlink to, something other than a regular file. A symlink into /proc counts as such: /dev/stdout
    /// is nothing to be replaced.
    explicit AtomicFile(std::string path);
    /// The same with the system's calls replaced; for tests. `system` must outlive this.
    AtomicFile(std::string path, System& system);
    ~AtomicFile() override;

    void write(const char* data, std::size_t size) override;

    /// Syncs the contents, moves them to the target's name and syncs the folder.
    /// Throws StreamError; unless the message says that only the folder could not be synced, the target is then
    /// what it was. Call once, last.
    void commit();

    /// Open for reading and writing while this lives, owned by this: what was written can be read back before
    /// it is committed.
    int descriptor() const noexcept;

private:
    class File;
    std::unique_ptr<File> file_;
};

}  // namespace bex::stream

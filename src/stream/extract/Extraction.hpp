#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "bex/stream/Entry.hpp"
#include "bex/stream/ExtractOptions.hpp"
#include "stream/system/System.hpp"

namespace bex::stream {

/// Makes entries below a directory, each resolved from the opened directory without following a symlink.
///
/// A directory that is there already is taken; what else stands under an entry's name is replaced, never written
/// through: a file keeps its old contents until the new ones are complete. A directory is never replaced. A file
/// that could not be completed is removed; only a process that is killed may leave one, with mode 0600.
/// Folders above an entry that no entry has made yet get mode 0755 less the umask.
/// Of the times only that of modification is restored.
///
/// Whether an entry is allowed at all (its type, doubled paths) is decided before it comes here; what only the
/// disk can tell (a symlink on the way, a hard link's target that is no regular file) is refused here with
/// StreamError (`refused`). So are paths that lead out and types that are not made, for good measure.
///
/// After a failure only destruction is left. Costs one directory's path and attributes in memory for each
/// directory entry until the end, four descriptors, and for each of up to eight threads half a MiB and
/// 16 descriptors. Used by one thread at a time.
class Extraction {
public:
    /// Opens the destination, made when it does not exist. `package`, unescaped, begins the messages. `system`
    /// must outlive this. With more than one of `threads`, small files are made by threads of its own, some while
    /// later entries are; each is as whole as ever, and the first failure in the entries' order is the one that is
    /// thrown. Not so where onEntry or stripComponents of the options ask for one after the other.
    Extraction(const std::string& destination, const std::string& package, const ExtractOptions& options,
               System& system, unsigned threads = 1);
    /// Removes the file that was begun and not ended. Without finish(), gives the directories their attributes as
    /// far as that is possible.
    ~Extraction();

    /// Makes the entry under `path` (relative, plain, no ".."); `path` is entry.path with components stripped, and
    /// "" the destination itself, whose attributes are set only where it was made by this: extracting into an
    /// existing folder, such as /tmp, must not close it to others.
    /// A regular file stays open for write() until end().
    ///
    /// `linkPath` is the hard link's target, treated like `path`. The caller sees to it that it is the path of a
    /// regular file that went through end() of this extraction, so that no file which was there before gets a name
    /// in the destination. Here it must lead to a regular file without a symlink. Who swaps that file for another
    /// meanwhile gets a second name for it beside the one that he could already give it.
    void begin(const Entry& entry, const std::string& path, const std::string& linkPath);
    void write(const char* data, std::size_t size);
    /// Leaves a hole of `size` bytes.
    void skip(std::uint64_t size);
    /// Completes the entry that was begun; a regular file gets its owner, mode, time and name.
    void end();

    /// Waits until everything that went through end() is made, and drops an entry that did not. Throws the first
    /// failure. For who gives up: what came before is to stand, and its failure is the one to tell.
    void settle();

    /// Owners, modes and times of the directories, the deepest first. Call once, last.
    void finish();

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace bex::stream

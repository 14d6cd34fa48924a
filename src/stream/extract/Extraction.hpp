#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "bex/stream/Entry.hpp"
#include "bex/stream/ExtractOptions.hpp"
#include "stream/base/Turns.hpp"
#include "stream/base/WorkPool.hpp"
#include "stream/extract/Directories.hpp"
#include "stream/extract/DirectoryWalk.hpp"
#include "stream/extract/EntryBatch.hpp"
#include "stream/extract/ExtractContext.hpp"
#include "stream/extract/RestoredAttributes.hpp"
#include "stream/system/Descriptor.hpp"
#include "stream/system/System.hpp"

namespace bex::stream {

/// Creates entries below a directory, each resolved from the opened directory without following a symlink.
///
/// A directory that exists is used; a file or link under an entry's name is never written through: it keeps its
/// contents until the new ones are complete, or is treated as ExtractOptions::existing says. A directory is never
/// replaced. A file that could not be completed is removed; only a process that is killed may leave one, with mode
/// 0600. Directories above an entry that have no entry yet get mode 0755 less the umask. Of the times only that of
/// modification is restored.
///
/// Whether an entry is allowed at all (its type, doubled paths) is decided before it comes here. What only the
/// disk shows (a symlink on the way, a hard link's target that is not a regular file) is refused here with
/// StreamError (`refused`). So are paths that lead out and types that are not created, for good measure.
///
/// After a failure it only accepts destruction and settle(). Memory: the path and attributes of each directory
/// entry until the end, four descriptors, and for each of up to eight threads 16 descriptors and what two
/// KeptBytes of 256 KiB take. Used by one thread at a time.
class Extraction {
public:
    /// Returns the next piece of a file's contents, valid until the next call; empty at their end.
    using Contents = std::function<Piece()>;

    /// Opens the destination, which is created if it does not exist. `package`, unescaped, begins the messages.
    /// `system` must outlive this. With more than one of `threads`, all but hard links is made by threads of its
    /// own, some of it while later entries are; each is complete, and the first failure in the order of the
    /// entries is the one that is thrown. PackageReader::extract() says which options keep the order strict.
    Extraction(const std::string& destination, const std::string& package, const ExtractOptions& options,
               System& system, unsigned threads = 1);
    Extraction(const Extraction&) = delete;  // members hold addresses of others
    Extraction& operator=(const Extraction&) = delete;

    /// Creates the entry under `path` (relative, plain, no ".."); "" is the destination itself, whose attributes
    /// are set only where it was created by this: extracting into an existing directory, such as /tmp, must not
    /// close it to others. `contents` is called for regular files alone. Returns false where something that exists
    /// is kept.
    ///
    /// `linkPath` is the hard link's target below the destination. It must be the path of a regular file that this
    /// extraction made, so that no file which existed before gets a name in the destination; it is refused unless
    /// it leads to a regular file without a symlink. Someone who replaces that file in the meantime gains nothing:
    /// they could link to it themselves.
    bool make(const Entry& entry, const std::string& path, const std::string& linkPath, const Contents& contents);

    /// Call before reporting another error: files already handed over are finished, and their failure comes first.
    void settle();

    /// Restores owners, modes and times of the directories, the deepest first. Call once, last. Without it, the
    /// destructor does so as far as possible.
    void finish();

private:
    struct Destination {
        Descriptor directory;
        bool made = false;
    };

    static Destination openDestination(const std::string& path, ExtractContext& context);
    bool makeFile(const Entry& entry, const std::string& path, const Contents& contents);
    void collect(const Entry& entry, const std::string& path, const Contents& contents);
    bool makeDirectory(const Entry& entry, const std::string& path);
    bool makeSymlink(const Entry& entry, const std::string& path);
    bool makeHardLink(const std::string& path, const std::string& linkPath);
    bool keeps(int directory, const char* name) const;
    struct stat requireRegularFile(int directory, const char* name) const;
    bool isLinkOf(const struct stat& file, int directory, const char* name) const;
    void requirePlain(const std::string& path, const char* what) const;
    EntryBatch& batch();
    void submitBatch();
    void submitIfFull();
    void takeFront();

    ExtractContext context_;
    Destination destination_;
    DirectoryWalk targetParents_{context_.system, destination_.directory.get(), "its link target's"};
    Directories directories_{context_, destination_.directory.get()};  // while batches are made, theirs in turn
    RestoredAttributes attributes_;                                    // of the entry at hand
    std::set<std::string> kept_;                                       // paths of files that were there before
    const bool batching_;
    std::uint64_t submitted_ = 0;  // batches
    Turns order_;                  // of batches
    WorkPool<EntryBatch> pool_;
};

}  // namespace bex::stream

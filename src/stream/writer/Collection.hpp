#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Attributes.hpp"
#include "bex/stream/ContentReader.hpp"
#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/Pattern.hpp"

namespace bex::stream {

/// One thing to be packaged, as it was found or given. There may be a million of them.
struct SourceEntry {
    static constexpr std::uint32_t kNoOrigin = std::numeric_limits<std::uint32_t>::max();

    std::string path;  ///< in the package, plain; "" is the root
    /// A symlink's target, the plain path that a hard link leads to, or the bytes of a file that is in memory.
    std::unique_ptr<const std::string> data;
    std::unique_ptr<const ContentReader> reader;  ///< of a file that is neither in memory nor on disk
    /// Instead of the entry's own attributes. Those on disk are still needed to notice that the file changed.
    std::unique_ptr<const Attributes> given;
    std::uint64_t size = 0;  ///< bytes of content, or of a symlink's target
    dev_t device = 0;
    ino_t inode = 0;
    std::int64_t mtime = 0;
    std::uint32_t mtimeNanoseconds = 0;
    std::uint32_t mode = 0755;  ///< permission bits only
    uid_t uid = 0;
    gid_t gid = 0;
    std::uint32_t origin = kNoOrigin;  ///< in Collection::origins
    EntryType type = EntryType::directory;
    bool hasTime = false;
    bool hasLinks = false;    ///< the file has several names on disk
    bool isFromDisk = false;  ///< and is found there again by its origin

    /// The time that the package is to store, where there is one.
    std::optional<std::int64_t> time() const noexcept;
};

/// Where entries come from: a tree, a single file, an open descriptor, or, for messages alone, something else.
struct Origin {
    std::string source;
    std::string prefix;  ///< where a tree's root stands in the package, plain
    bool singleFile = false;
    int descriptor = -1;  ///< the caller's; that of a single file that has no path
    off_t offset = 0;     ///< where its contents begin
};

struct ModeRule {
    Pattern pattern;
    std::uint32_t mode;
};

struct OwnerRule {
    Pattern pattern;
    Ownership owner;
};

/// All that a package is to be made from.
struct Collection {
    ControlParagraph control;
    std::deque<SourceEntry> entries;  ///< in the order they were added; addresses stay when more are added
    std::vector<Origin> origins;
    std::vector<ModeRule> modes;                        ///< a later one wins
    std::vector<OwnerRule> owners;                      ///< a later one wins
    std::map<std::string, std::string> controlMembers;  ///< contents by name
    std::vector<std::string> conffiles;                 ///< plain paths, some of them perhaps twice
    std::vector<std::string> conffileTrees;             ///< plain paths at or below which every file is a conffile
    std::vector<std::string> removedConffiles;          ///< plain paths of what the package no longer has

    /// Adds the origin and returns its index.
    std::uint32_t addOrigin(Origin origin);

    /// The path of an entry of a tree relative to the tree; "" for the tree's root.
    std::string_view relativePath(const SourceEntry& entry) const noexcept;

    /// Where the entry stands on disk, as the caller named its tree. Only for what is from disk.
    std::string sourcePath(const SourceEntry& entry) const;

    /// The source for messages, as it is: its path, or words for bytes from memory.
    std::string sourceName(const SourceEntry& entry) const;
};

/// Removes the entries and origins that were added in its life, unless keep() is called.
class Rollback {
public:
    explicit Rollback(Collection& collection)
        : collection_(collection), entries_(collection.entries.size()), origins_(collection.origins.size()) {}
    ~Rollback();
    Rollback(const Rollback&) = delete;
    Rollback& operator=(const Rollback&) = delete;
    void keep() noexcept { kept_ = true; }

private:
    Collection& collection_;
    std::size_t entries_;
    std::size_t origins_;
    bool kept_ = false;
};

}  // namespace bex::stream

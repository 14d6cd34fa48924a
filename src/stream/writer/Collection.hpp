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

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/WriteOptions.hpp"

namespace bex::stream {

/// One thing to be packaged, as it was found or given. There may be a million of them.
struct SourceEntry {
    static constexpr std::uint32_t kNotFromDisk = std::numeric_limits<std::uint32_t>::max();

    std::string path;                         ///< in the package, plain; "" is the root
    std::unique_ptr<const std::string> data;  ///< a symlink's target, or the bytes of a file that is in memory
    std::unique_ptr<const Attributes> given;  ///< instead of a file's own, which still tell whether it changed
    std::uint64_t size = 0;                   ///< bytes of content, or of a symlink's target
    dev_t device = 0;
    ino_t inode = 0;
    std::int64_t mtime = 0;
    std::uint32_t mtimeNanoseconds = 0;
    std::uint32_t mode = 0755;  ///< permission bits only
    uid_t uid = 0;
    gid_t gid = 0;
    std::uint32_t origin = kNotFromDisk;  ///< in Collection::origins
    EntryType type = EntryType::directory;
    bool hasTime = false;
    bool hasLinks = false;  ///< the file has several names on disk

    bool isFromDisk() const noexcept { return origin != kNotFromDisk; }
    /// The time that the package is to tell, where there is one.
    std::optional<std::int64_t> time() const noexcept {
        return given != nullptr ? given->mtime : hasTime ? std::optional(mtime) : std::nullopt;
    }
};

/// A tree, or a single file, on disk.
struct Origin {
    std::string source;
    std::string prefix;  ///< where the tree's root stands in the package, plain
    bool singleFile = false;
};

struct ModeRule {
    std::string pattern;
    std::uint32_t mode = 0;
};

/// All that a package is to be made from.
struct Collection {
    ControlParagraph control;
    std::deque<SourceEntry> entries;  ///< in the order they were added; addresses stay when more are added
    std::vector<Origin> origins;
    std::vector<ModeRule> modes;                        ///< a later one wins
    std::map<std::string, std::string> controlMembers;  ///< contents by name
    std::vector<std::string> conffiles;                 ///< plain paths
    std::vector<std::string> removedConffiles;          ///< plain paths of what the package has no more

    /// What is left of the path of an entry of a tree behind the tree's prefix; "" for the tree's root.
    std::string_view relativePath(const SourceEntry& entry) const noexcept;

    /// Where the entry stands on disk, as the caller named its tree. Only for what is from disk.
    std::string sourcePath(const SourceEntry& entry) const;

    /// The source for messages, as it is: its path, or words for bytes from memory.
    std::string sourceName(const SourceEntry& entry) const;
};

}  // namespace bex::stream

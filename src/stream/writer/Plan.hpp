#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Entry.hpp"
#include "bex/stream/WriteOptions.hpp"
#include "stream/base/Place.hpp"
#include "stream/writer/Collection.hpp"

namespace bex::stream {

/// What the payload will hold: the collected entries in order, missing parent directories added, further names
/// of a file turned into hard links, with final owners, modes and times. Twenty-four bytes an entry.
class Plan {
public:
    /// `collection` must outlive this, unchanged; keepOwner, normalizeModes, latestTime and
    /// commonTime of the options count.
    /// Cost: one sort, and one match for each entry and pattern of a mode or owner. Throws StreamError
    /// (`invalidInput`) for two sources of one path, for a file where a directory is needed, for a hard link or a
    /// conffile without a file of the payload, for a pattern that matches nothing and for a SOURCE_DATE_EPOCH that
    /// is not a number.
    Plan(const Collection& collection, const WriteOptions& options);
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;

    std::size_t size() const noexcept { return planned_.size(); }
    /// What gives the entry its name.
    const SourceEntry& source(std::size_t index) const noexcept { return *planned_[index].source; }
    /// What gives the entry its contents and attributes: another entry than source() for a hard link that was
    /// given.
    const SourceEntry& file(std::size_t index) const noexcept { return *planned_[index].file; }
    /// The index of the file that this one is a further name of.
    std::optional<std::size_t> linkTo(std::size_t index) const noexcept;
    /// Whether further names follow that link to this file.
    bool hasLinks(std::size_t index) const noexcept { return planned_[index].hasLinks; }
    bool isConffile(std::size_t index) const noexcept { return planned_[index].conffile; }
    /// The indexes of all conffiles, those that were named first.
    const std::vector<std::size_t>& conffiles() const noexcept { return conffiles_; }
    /// As it will be stored.
    Entry entry(std::size_t index) const;

    /// The time of what has none: the given one, or the newest of all that has one, set back where it is too late.
    std::int64_t commonTime() const noexcept { return commonTime_; }
    /// Contents of all files, each counted once.
    std::uint64_t contentBytes() const noexcept;
    /// What the payload takes uncompressed, at least: headers that only long names need are not counted.
    std::uint64_t leastTarBytes() const noexcept;
    /// The Installed-Size that deb-substvars(5) describes, in KiB.
    std::uint64_t installedKiB() const noexcept;
    /// The size of md5sums: a line for each name of a file that is not a conffile.
    std::size_t md5sumsBytes() const noexcept;

private:
    using Index = std::uint32_t;
    static constexpr Index kNoLink = std::numeric_limits<Index>::max();

    /// What a list of rules sets, on what, in words for messages.
    struct RuleKind {
        const char* sets;
        const char* matches;
        bool forSymlinks;
    };

    struct Planned {
        explicit Planned(const SourceEntry& entry) : source(&entry), file(&entry) {}

        const SourceEntry* source;
        const SourceEntry* file;
        Index linkTo = kNoLink;
        std::uint16_t mode = 0;
        bool conffile = false;
        bool hasLinks = false;

        bool hasContents() const noexcept { return file->type == EntryType::file && linkTo == kNoLink; }
    };

    void arrange(const std::vector<const SourceEntry*>& sorted);
    void addMissingParents(const SourceEntry& entry);
    void addParent(std::string_view path);
    Place placeOf(const SourceEntry& entry) const;
    void replaceDirectory(const SourceEntry& later);
    void findLinks();
    Index fileOf(Index link, std::map<Index, Index>& known) const;
    void link(Index file, std::vector<Index> names);
    void chooseTimes(const WriteOptions& options);
    void collectOwners();
    void markConffiles();
    void markConffile(std::size_t index);
    void setModes();
    void setOwners();
    template <typename Rule>
    std::vector<std::size_t> lastMatches(const std::vector<Rule>& rules, const RuleKind& kind) const;
    std::uint16_t ownModeOf(const SourceEntry& file) const;
    std::optional<Index> find(const std::string& path) const;
    std::int64_t storedTime(std::int64_t time) const noexcept;
    void setOwner(std::size_t index, Entry& entry) const;

    const Collection& collection_;
    const bool keepOwner_;
    const bool normalizeModes_;
    const std::optional<std::int64_t> latestTime_;
    std::deque<SourceEntry> parents_;  ///< directories that nobody gave
    std::vector<Planned> planned_;
    std::map<uid_t, std::string> users_;
    std::map<gid_t, std::string> groups_;
    std::vector<std::size_t> conffiles_;
    std::vector<std::size_t> ownerRules_;  ///< number of each entry's owner rule, from 1; empty without rules
    std::int64_t commonTime_ = 0;
};

}  // namespace bex::stream

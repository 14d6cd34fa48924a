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
/// of a file turned into hard links, with final owners, modes and times. Sixteen bytes an entry.
class Plan {
public:
    /// `collection` must outlive this, unchanged; of the options keepOwner and latestTime count. Cost: one sort.
    /// Throws StreamError (`invalidInput`) for two sources of one path, for a file where a directory is needed,
    /// for a conffile that is no file of the payload and for a SOURCE_DATE_EPOCH that is no number.
    Plan(const Collection& collection, const WriteOptions& options);
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;

    std::size_t size() const noexcept { return planned_.size(); }
    const SourceEntry& source(std::size_t index) const noexcept { return *planned_[index].source; }
    /// The index of the file that this one is a further name of.
    std::optional<std::size_t> linkTo(std::size_t index) const noexcept;
    bool isConffile(std::size_t index) const noexcept { return planned_[index].conffile; }
    /// As it will be stored.
    Entry entry(std::size_t index) const;

    /// The newest time of all that has one, set back where it is too late; what has none is given this.
    std::int64_t newestTime() const noexcept { return newestTime_; }
    /// Contents of all files, each counted once.
    std::uint64_t contentBytes() const noexcept;
    /// What the payload takes uncompressed, at least: headers that only long names need are not counted.
    std::uint64_t leastTarBytes() const noexcept;
    /// The Installed-Size that deb-substvars(5) describes, in KiB.
    std::uint64_t installedKiB() const noexcept;

private:
    static constexpr std::uint32_t kNoLink = std::numeric_limits<std::uint32_t>::max();
    struct Planned {
        const SourceEntry* source;
        std::uint32_t linkTo = kNoLink;
        bool conffile = false;
    };

    void arrange(const std::vector<const SourceEntry*>& sorted);
    void addMissingParents(const SourceEntry& entry);
    void addParent(std::string_view path);
    Place placeOf(const SourceEntry& entry) const;
    void replaceDirectory(const SourceEntry& later);
    void findLinks();
    void chooseTimes();
    void collectOwners();
    void markConffiles();
    Planned* find(const std::string& path);
    std::optional<std::size_t> lastRuleFor(const std::string& path) const;
    std::uint32_t modeOf(std::size_t index) const;
    std::int64_t storedTime(std::int64_t time) const noexcept;
    void setOwner(const SourceEntry& source, Entry& entry) const;

    const Collection& collection_;
    const bool keepOwner_;
    const std::optional<std::int64_t> latestTime_;
    std::deque<SourceEntry> parents_;  ///< directories that nobody gave
    std::vector<Planned> planned_;
    std::map<std::uint32_t, std::optional<std::size_t>> linkedRules_;  ///< mode rule by index of the first name
    std::map<uid_t, std::string> users_;
    std::map<gid_t, std::string> groups_;
    std::int64_t newestTime_ = 0;
};

}  // namespace bex::stream

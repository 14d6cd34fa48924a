#include "stream/writer/Plan.hpp"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <tuple>

#include "bex/stream/Escape.hpp"
#include "stream/base/Place.hpp"
#include "stream/tar/TarHeader.hpp"
#include "stream/writer/Owners.hpp"
#include "stream/writer/PackagePath.hpp"
#include "stream/writer/Pattern.hpp"

namespace bex::stream {

namespace {

constexpr std::int64_t kLatestStoredTime = 077777777777;  // eleven octal digits of a tar header, year 2242

std::optional<std::int64_t> latestTimeOf(const WriteOptions& options) {
    const char* text = std::getenv("SOURCE_DATE_EPOCH");
    if (options.latestTime.has_value() || text == nullptr) {
        return options.latestTime;
    }
    std::int64_t time = 0;
    const char* end = text + std::strlen(text);
    const auto [stopped, failure] = std::from_chars(text, end, time);
    if (failure != std::errc() || stopped != end) {
        throw invalidInput("SOURCE_DATE_EPOCH", quotedName(text) + " is no number of seconds");
    }
    return time;
}

std::uint64_t dividedUp(std::uint64_t bytes, std::uint64_t unit) noexcept {
    return bytes / unit + (bytes % unit != 0 ? 1 : 0);
}

std::string shown(const SourceEntry& entry) {
    return escapeForDisplay(storedPath(entry.path, entry.type));
}

}  // namespace

Plan::Plan(const Collection& collection, const WriteOptions& options)
    : collection_(collection), keepOwner_(options.keepOwner), latestTime_(latestTimeOf(options)) {
    std::vector<const SourceEntry*> sorted;
    sorted.reserve(collection.entries.size());
    for (const SourceEntry& entry : collection.entries) {
        sorted.push_back(&entry);
    }
    // Stable: of two directories for one path the later one must come second.
    std::stable_sort(sorted.begin(), sorted.end(), [](const SourceEntry* left, const SourceEntry* right) {
        return comesBefore(left->path, right->path);
    });
    arrange(sorted);
    findLinks();
    chooseTimes();
    collectOwners();
    markConffiles();
}

void Plan::arrange(const std::vector<const SourceEntry*>& sorted) {
    planned_.reserve(sorted.size() + 1);
    for (const SourceEntry* entry : sorted) {
        if (!planned_.empty() && planned_.back().source->path == entry->path) {
            replaceDirectory(*entry);
        } else {
            addMissingParents(*entry);
            planned_.push_back({entry});
        }
    }
    if (planned_.empty()) {
        addParent("");
    }
}

Place Plan::placeOf(const SourceEntry& entry) const {
    return Place(collection_.sourceName(entry)).at(storedPath(entry.path, entry.type));
}

void Plan::replaceDirectory(const SourceEntry& later) {
    const SourceEntry& earlier = *planned_.back().source;
    // guard: two sources for one path
    if (earlier.type != EntryType::directory || later.type != EntryType::directory) {
        throw placeOf(later).error(ErrorKind::invalidInput, "path-taken",
                                   "the path is taken by " + escapeForDisplay(collection_.sourceName(earlier)));
    }
    planned_.back().source = &later;
}

void Plan::addMissingParents(const SourceEntry& entry) {
    const SourceEntry* last = planned_.empty() ? nullptr : planned_.back().source;
    if (last != nullptr && last->type != EntryType::directory && isWithin(entry.path, last->path)) {
        throw placeOf(entry).error(ErrorKind::invalidInput, "path-taken",
                                   "needs a directory where " + shown(*last) + " from " +
                                       escapeForDisplay(collection_.sourceName(*last)) + " stands");
    }
    if (last == nullptr && !entry.path.empty()) {
        addParent("");
    }
    // Whatever stands below a directory follows it at once, so the last entry tells which ones are there.
    for (std::size_t end = entry.path.find('/'); end != std::string::npos; end = entry.path.find('/', end + 1)) {
        const std::string_view parent = std::string_view(entry.path).substr(0, end);
        if (last == nullptr || !isWithin(last->path, parent)) {
            addParent(parent);
        }
    }
}

void Plan::addParent(std::string_view path) {
    SourceEntry& parent = parents_.emplace_back();
    parent.path = path;
    planned_.push_back({&parent});
}

void Plan::findLinks() {
    std::map<std::tuple<std::uint32_t, dev_t, ino_t>, std::uint32_t> firstNames;
    for (std::uint32_t i = 0; i < planned_.size(); ++i) {
        const SourceEntry& file = source(i);
        if (!file.hasLinks) {
            continue;
        }
        const auto [first, isNew] = firstNames.try_emplace({file.origin, file.device, file.inode}, i);
        if (!isNew) {
            planned_[i].linkTo = first->second;
            // One file has one mode: the last rule that matches any of its names.
            auto [rule, firstLink] =
                linkedRules_.try_emplace(first->second, lastRuleFor(source(first->second).path));
            rule->second = std::max(rule->second, lastRuleFor(file.path));
        }
    }
}

void Plan::chooseTimes() {
    std::optional<std::int64_t> newest;
    for (const Planned& planned : planned_) {
        if (const auto time = planned.source->time()) {
            newest = std::max(newest, std::optional(storedTime(*time)));
        }
    }
    newestTime_ = newest.value_or(storedTime(latestTime_.value_or(0)));
}

void Plan::collectOwners() {
    for (const Planned& planned : planned_) {
        const SourceEntry& source = *planned.source;
        if (keepOwner_ && users_.count(source.uid) == 0) {
            users_.emplace(source.uid, userName(source.uid));
        }
        if (keepOwner_ && groups_.count(source.gid) == 0) {
            groups_.emplace(source.gid, groupName(source.gid));
        }
    }
}

Plan::Planned* Plan::find(const std::string& path) {
    const auto found = std::lower_bound(planned_.begin(), planned_.end(), path,
                                        [](const Planned& planned, const std::string& wanted) {
                                            return comesBefore(planned.source->path, wanted);
                                        });
    return found != planned_.end() && found->source->path == path ? &*found : nullptr;
}

void Plan::markConffiles() {
    const auto refuse = [](const std::string& path, const char* reason) {
        throw invalidInput("conffiles", quotedName('/' + path) + ' ' + reason);
    };
    for (const std::string& path : collection_.conffiles) {
        Planned* file = find(path);
        if (file == nullptr || file->source->type != EntryType::file) {
            refuse(path, "is no regular file of the package");
        }
        file->conffile = true;
    }
    for (const std::string& path : collection_.removedConffiles) {
        if (find(path) != nullptr) {
            refuse(path, "is to be removed on upgrade, but the package has it");
        }
    }
}

std::optional<std::size_t> Plan::lastRuleFor(const std::string& path) const {
    for (std::size_t i = collection_.modes.size(); i > 0; --i) {
        if (matchesPattern(collection_.modes[i - 1].pattern, path)) {
            return i - 1;
        }
    }
    return std::nullopt;
}

std::uint32_t Plan::modeOf(std::size_t index) const {
    const SourceEntry& entry = source(index);
    if (entry.type == EntryType::symlink) {
        return 0777;
    }
    const auto linked = linkedRules_.find(static_cast<std::uint32_t>(linkTo(index).value_or(index)));
    const auto rule = linked != linkedRules_.end() ? linked->second : lastRuleFor(entry.path);
    const std::uint32_t own = entry.given != nullptr ? entry.given->mode : entry.mode;
    return rule ? collection_.modes[*rule].mode : own;
}

/// Meant: times before 1970 and after 2242 are set to the nearest that every reader of tar and ar takes.
std::int64_t Plan::storedTime(std::int64_t time) const noexcept {
    return std::clamp<std::int64_t>(std::min(time, latestTime_.value_or(time)), 0, kLatestStoredTime);
}

std::optional<std::size_t> Plan::linkTo(std::size_t index) const noexcept {
    const std::uint32_t target = planned_[index].linkTo;
    return target == kNoLink ? std::nullopt : std::optional<std::size_t>(target);
}

Entry Plan::entry(std::size_t index) const {
    const SourceEntry& from = source(index);
    Entry entry;
    entry.path = storedPath(from.path, from.type);
    entry.type = from.type;
    entry.mode = modeOf(index);
    const auto time = from.time();
    entry.mtime = time ? storedTime(*time) : newestTime_;
    setOwner(from, entry);
    if (const auto target = linkTo(index)) {
        entry.type = EntryType::hardlink;
        entry.linkTarget = storedPath(source(*target).path, EntryType::file);
    } else if (from.type == EntryType::symlink) {
        entry.linkTarget = *from.data;
    } else if (from.type == EntryType::file) {
        entry.size = from.size;
    }
    return entry;
}

void Plan::setOwner(const SourceEntry& source, Entry& entry) const {
    entry.owner = "root";
    entry.group = "root";
    if (keepOwner_) {
        entry.uid = source.uid;
        entry.gid = source.gid;
        entry.owner = users_.at(source.uid);
        entry.group = groups_.at(source.gid);
    }
}

std::uint64_t Plan::contentBytes() const noexcept {
    std::uint64_t bytes = 0;
    for (const Planned& planned : planned_) {
        if (planned.source->type == EntryType::file && planned.linkTo == kNoLink) {
            bytes += planned.source->size;
        }
    }
    return bytes;
}

std::uint64_t Plan::leastTarBytes() const noexcept {
    std::uint64_t blocks = size();
    for (const Planned& planned : planned_) {
        if (planned.source->type == EntryType::file && planned.linkTo == kNoLink) {
            blocks += dividedUp(planned.source->size, kTarBlockBytes);
        }
    }
    return blocks * kTarBlockBytes;
}

std::uint64_t Plan::installedKiB() const noexcept {
    std::uint64_t sum = 0;
    for (const Planned& planned : planned_) {
        const EntryType type = planned.source->type;
        if (planned.linkTo == kNoLink) {
            sum += type == EntryType::directory ? 1 : dividedUp(planned.source->size, 1024);
        }
    }
    return sum;
}

}  // namespace bex::stream

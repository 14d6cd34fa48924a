#include "stream/writer/Plan.hpp"

#include <algorithm>
#include <cstdlib>
#include <tuple>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "stream/base/PathOrder.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/tar/TarHeader.hpp"
#include "stream/writer/Owners.hpp"
#include "stream/writer/PackagePath.hpp"

namespace bex::stream {

namespace {

constexpr std::int64_t kLatestStoredTime = 077777777777;  // eleven octal digits of a tar header, year 2242

/// The caller's limit wins over the environment (reproducible-builds.org, SOURCE_DATE_EPOCH).
std::optional<std::int64_t> latestTimeOf(const WriteOptions& options) {
    const char* text = std::getenv("SOURCE_DATE_EPOCH");
    if (options.latestTime.has_value() || text == nullptr) {
        return options.latestTime;
    }
    const auto time = parseWhole<std::int64_t>(text);
    if (!time) {
        throw invalidInput("SOURCE_DATE_EPOCH", quotedName(text) + " is not a number of seconds");
    }
    return time;
}

/// As deb-substvars(5) counts a file or link: a begun KiB counts as a whole one.
std::uint64_t wholeKiB(std::uint64_t bytes) noexcept {
    std::uint64_t kibibytes = bytes / 1024;
    if (bytes % 1024 != 0) {
        ++kibibytes;
    }
    return kibibytes;
}

/// Works for Attributes and for Ownership.
template <typename Owner>
void take(const Owner& owner, Entry& entry) {
    entry.uid = owner.uid;
    entry.gid = owner.gid;
    entry.owner = owner.owner;
    entry.group = owner.group;
}

std::string shown(const SourceEntry& entry) {
    return escapeForDisplay(storedPath(entry.path, entry.type));
}

}  // namespace

Plan::Plan(const Collection& collection, const WriteOptions& options)
    : collection_(collection),
      keepOwner_(options.keepOwner),
      normalizeModes_(options.normalizeModes),
      latestTime_(latestTimeOf(options)) {
    // Pointers are sorted: entries are large, and planned_ keeps their addresses.
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
    // planned_ does not move from here on: link(), find() and fileOf() use indices into it.
    findLinks();
    chooseTimes(options);
    collectOwners();
    markConffiles();
    // After findLinks(): rules are gathered at the first name of each file.
    setModes();
    setOwners();
}

void Plan::arrange(const std::vector<const SourceEntry*>& sorted) {
    // A guess that missing directories may exceed: planned_ is complete before anything points into it.
    planned_.reserve(sorted.size() + 1);
    for (const SourceEntry* entry : sorted) {
        // Equal paths are neighbours after the sort.
        if (!planned_.empty() && planned_.back().source->path == entry->path) {
            replaceDirectory(*entry);
        } else {
            addMissingParents(*entry);
            planned_.emplace_back(*entry);
        }
    }
    // An empty package still has its root.
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
        throw placeOf(later).error(
            ErrorKind::invalidInput, "path-taken",
            "the path is already used by " + escapeForDisplay(collection_.sourceName(earlier)));
    }
    // The later directory's attributes win.
    planned_.back() = Planned(later);
}

void Plan::addMissingParents(const SourceEntry& entry) {
    // The entry just before, in the order of paths: everything above the new one has been added, or is missing.
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
        // Outermost first, so that a parent stands before what is in it.
        if (last == nullptr || !isWithin(last->path, parent)) {
            addParent(parent);
        }
    }
}

void Plan::addParent(std::string_view path) {
    // A deque: entries point to their sources, which must not move.
    SourceEntry& parent = parents_.emplace_back();
    parent.path = path;
    planned_.emplace_back(parent);
}

/// Gathers the names of each file: those that the disk shows, then those that were given as hard links.
void Plan::findLinks() {
    std::map<std::tuple<std::uint32_t, dev_t, ino_t>, Index> firstNames;
    std::map<Index, std::vector<Index>> names;
    std::map<Index, Index> known;  // files by hard link, and first names by further ones
    // An index has 32 bits: that many entries would need hundreds of gigabytes of memory.
    const auto size = static_cast<Index>(planned_.size());
    for (Index i = 0; i < size; ++i) {
        const SourceEntry& entry = source(i);
        if (entry.hasLinks) {
            // By origin too: names in two trees stay separate files, each read from its own tree.
            const Index first = firstNames.try_emplace({entry.origin, entry.device, entry.inode}, i).first->second;
            if (first != i) {
                names[first].push_back(i);
                known.emplace(i, first);
            }
        }
    }
    // After the first loop, which completes `known`: a hard link may lead to a further name.
    for (Index i = 0; i < size; ++i) {
        if (source(i).type == EntryType::hardlink) {
            names[fileOf(i, known)].push_back(i);
        }
    }
    for (auto& [file, others] : names) {
        link(file, std::move(others));
    }
}

/// The file that a hard link leads to, perhaps by way of others.
Plan::Index Plan::fileOf(Index link, std::map<Index, Index>& known) const {
    std::vector<Index> trail;
    Index at = link;
    while (known.count(at) != 0 || source(at).type == EntryType::hardlink) {
        if (const auto found = known.find(at); found != known.end()) {
            at = found->second;
            continue;
        }
        trail.push_back(at);
        const std::optional<Index> next = find(*source(at).data);
        // A trail longer than there are entries runs in a circle.
        if (!next || trail.size() > planned_.size() ||
            (source(*next).type != EntryType::file && source(*next).type != EntryType::hardlink)) {
            throw placeOf(source(link))
                .error(ErrorKind::invalidInput, "hardlink-target",
                       "is a hard link to " + quotedName(storedPath(*source(link).data, EntryType::file)) +
                           ", which is not a regular file of the package");
        }
        at = *next;
    }
    // For the next link that leads to one of these; without it a long chain would be walked once for each of them.
    for (const Index passed : trail) {
        known.emplace(passed, at);
    }
    return at;
}

/// Stores the file under the first of all its names: a hard link must come after what it leads to.
void Plan::link(Index file, std::vector<Index> names) {
    // Indexes are in the order of the archive, so that the least of them is the name that comes first.
    names.push_back(file);
    const Index first = *std::min_element(names.begin(), names.end());
    for (const Index name : names) {
        // Contents and attributes come from the file, whichever name is first.
        planned_[name].file = planned_[file].source;
        planned_[name].linkTo = name == first ? kNoLink : first;
    }
    planned_[first].hasLinks = true;
}

void Plan::chooseTimes(const WriteOptions& options) {
    if (options.commonTime) {
        commonTime_ = storedTime(*options.commonTime);
        return;
    }
    std::optional<std::int64_t> newest;
    for (const Planned& planned : planned_) {
        // Directories that nobody gave have no time and do not count.
        if (const auto time = planned.file->time()) {
            newest = std::max(newest, std::optional(storedTime(*time)));
        }
    }
    commonTime_ = newest.value_or(storedTime(latestTime_.value_or(0)));
}

/// A name is asked for once for each number: the user database may be on the network.
void Plan::collectOwners() {
    for (const Planned& planned : planned_) {
        const SourceEntry& file = *planned.file;
        // Nothing is asked for entries whose owner was given.
        if (keepOwner_ && file.given == nullptr && users_.count(file.uid) == 0) {
            users_.emplace(file.uid, userName(file.uid));
        }
        if (keepOwner_ && file.given == nullptr && groups_.count(file.gid) == 0) {
            groups_.emplace(file.gid, groupName(file.gid));
        }
    }
}

std::optional<Plan::Index> Plan::find(const std::string& path) const {
    // Binary search: planned_ is in the order of comesBefore().
    const auto found = std::lower_bound(planned_.begin(), planned_.end(), path,
                                        [](const Planned& planned, const std::string& wanted) {
                                            return comesBefore(planned.source->path, wanted);
                                        });
    if (found == planned_.end() || found->source->path != path) {
        return std::nullopt;
    }
    return static_cast<Index>(found - planned_.begin());
}

void Plan::markConffiles() {
    const auto refuse = [](const std::string& path, const char* reason) {
        throw invalidInput("conffiles", quotedName('/' + path) + ' ' + reason);
    };
    for (const std::string& path : collection_.conffiles) {
        const std::optional<Index> index = find(path);
        if (!index || file(*index).type != EntryType::file) {
            refuse(path, "is not a regular file of the package");
        }
        markConffile(*index);
    }
    for (const std::string& tree : collection_.conffileTrees) {
        for (std::size_t i = 0; i < planned_.size(); ++i) {
            if (file(i).type == EntryType::file && isWithin(source(i).path, tree)) {
                markConffile(i);
            }
        }
    }
    for (const std::string& path : collection_.removedConffiles) {
        if (find(path)) {
            refuse(path, "is to be removed on upgrade, but is in the package");
        }
    }
}

void Plan::markConffile(std::size_t index) {
    // A file may be named twice, and lie in a tree as well; it is listed once.
    if (!planned_[index].conffile) {
        planned_[index].conffile = true;
        conffiles_.push_back(index);
    }
}

std::uint16_t Plan::ownModeOf(const SourceEntry& file) const {
    if (file.type == EntryType::symlink) {
        // A symlink has no mode of its own; every system shows it so.
        return 0777;
    }
    if (file.given != nullptr) {
        return static_cast<std::uint16_t>(file.given->mode);
    }
    // Kept as it is: the caller wants that, or chose the mode itself.
    if (!normalizeModes_ || !file.isFromDisk) {
        return static_cast<std::uint16_t>(file.mode);
    }
    const bool executable = file.type == EntryType::directory || (file.mode & 0100) != 0;
    // Set-id bits are kept: they are part of what a program does.
    return static_cast<std::uint16_t>((file.mode & 06000U) | (executable ? 0755U : 0644U));
}

void Plan::setModes() {
    for (Planned& planned : planned_) {
        planned.mode = ownModeOf(*planned.file);
    }
    const std::vector<std::size_t> last = lastMatches(collection_.modes, {"mode", "file or directory", false});
    for (std::size_t i = 0; i < last.size(); ++i) {
        // Rules were gathered at the first name, and hold for all names of the file.
        if (const std::size_t rule = last[linkTo(i).value_or(i)]; rule != 0) {
            planned_[i].mode = static_cast<std::uint16_t>(collection_.modes[rule - 1].mode);
        }
    }
}

void Plan::setOwners() {
    ownerRules_ = lastMatches(collection_.owners, {"owner", "entry", true});
}

/// The number, from 1, of the last rule that matches each entry; nothing where there are no rules. Every rule is
/// tried on every path, so that one that matches nothing shows. One file has one mode and one owner: the names of
/// a file count for the first of them, which comes first.
template <typename Rule>
std::vector<std::size_t> Plan::lastMatches(const std::vector<Rule>& rules, const RuleKind& kind) const {
    if (rules.empty()) {
        return {};
    }
    std::vector<bool> used(rules.size());
    std::vector<std::size_t> last(planned_.size());
    for (std::size_t i = 0; i < planned_.size(); ++i) {
        if (!kind.forSymlinks && file(i).type == EntryType::symlink) {
            continue;
        }
        std::size_t& rule = last[linkTo(i).value_or(i)];
        for (std::size_t number = 0; number < rules.size(); ++number) {
            if (rules[number].pattern.matches(source(i).path)) {
                used[number] = true;
                rule = std::max(rule, number + 1);
            }
        }
    }
    // A rule that matches nothing is a mistake in the rule: the file that it was meant for keeps a mode nobody
    // wanted.
    if (const auto unused = std::find(used.begin(), used.end(), false); unused != used.end()) {
        const Rule& rule = rules[static_cast<std::size_t>(unused - used.begin())];
        throw invalidInput("", std::string("the ") + kind.sets + " of " + quotedName(rule.pattern.text()) +
                                   ": no " + kind.matches + " of the package matches");
    }
    return last;
}

/// Meant: times before 1970 and after 2242 are set to the nearest that every reader of tar and ar takes.
std::int64_t Plan::storedTime(std::int64_t time) const noexcept {
    return std::clamp<std::int64_t>(std::min(time, latestTime_.value_or(time)), 0, kLatestStoredTime);
}

std::optional<std::size_t> Plan::linkTo(std::size_t index) const noexcept {
    if (planned_[index].linkTo == kNoLink) {
        return std::nullopt;
    }
    return planned_[index].linkTo;
}

/// What is read back must be equal, so that a check of the package compares with this very entry.
Entry Plan::entry(std::size_t index) const {
    const std::string& path = source(index).path;
    const SourceEntry& from = file(index);
    Entry entry;
    entry.path = storedPath(path, from.type);
    entry.type = from.type;
    entry.mode = planned_[index].mode;
    entry.mtime = storedTime(from.time().value_or(commonTime_));
    setOwner(index, entry);
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

void Plan::setOwner(std::size_t index, Entry& entry) const {
    const SourceEntry& from = file(index);
    const std::size_t rule = ownerRules_.empty() ? 0 : ownerRules_[linkTo(index).value_or(index)];
    // Unless something says otherwise, all belongs to root (Debian Policy 10.9).
    entry.owner = "root";
    entry.group = "root";
    if (rule != 0) {
        take(collection_.owners[rule - 1].owner, entry);
    } else if (from.given != nullptr) {
        take(*from.given, entry);
    } else if (keepOwner_ && from.isFromDisk) {
        // at() cannot throw: collectOwners() asked for every number that is used here.
        take(Ownership{from.uid, from.gid, users_.at(from.uid), groups_.at(from.gid)}, entry);
    }
}

std::uint64_t Plan::contentBytes() const noexcept {
    std::uint64_t bytes = 0;
    for (const Planned& planned : planned_) {
        if (planned.hasContents()) {
            bytes += planned.file->size;
        }
    }
    return bytes;
}

std::uint64_t Plan::leastTarBytes() const noexcept {
    // Every file counts its whole blocks; headers of long names come on top, so that this is a lower bound.
    std::uint64_t bytes = size() * kTarBlockBytes;
    for (const Planned& planned : planned_) {
        if (planned.hasContents()) {
            bytes += paddedToBlocks(planned.file->size);
        }
    }
    return bytes;
}

std::size_t Plan::md5sumsBytes() const noexcept {
    constexpr std::size_t kBesidePath = 32 + 2 + 1;  // digits, blanks, newline
    // The same condition as that of PayloadWriter::addSum(): the size is exact.
    std::size_t bytes = 0;
    for (const Planned& planned : planned_) {
        if (planned.file->type == EntryType::file && !planned.conffile) {
            bytes += planned.source->path.size() + kBesidePath;
        }
    }
    return bytes;
}

std::uint64_t Plan::installedKiB() const noexcept {
    std::uint64_t sum = 0;
    for (const Planned& planned : planned_) {
        // deb-substvars(5): a directory counts as 1 KiB, and further names of a file count nothing.
        if (planned.file->type == EntryType::directory) {
            ++sum;
        } else if (planned.linkTo == kNoLink) {
            sum += wholeKiB(planned.file->size);
        }
    }
    return sum;
}

}  // namespace bex::stream

#include "bex/stream/PackageWriter.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <limits>
#include <utility>

#include "bex/stream/PackageReader.hpp"
#include "stream/WriterAccess.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/base/UnnamedFile.hpp"
#include "stream/system/Descriptor.hpp"
#include "stream/writer/Collection.hpp"
#include "stream/writer/ContentStore.hpp"
#include "stream/writer/PackageBuild.hpp"
#include "stream/writer/PackagePath.hpp"
#include "stream/writer/Plan.hpp"
#include "stream/writer/TreeScanner.hpp"

namespace bex::stream {

namespace {

constexpr std::uint64_t kLargestId = std::numeric_limits<std::uint32_t>::max() - 1;  // the last is "no owner"
constexpr std::size_t kLongestOwner = 31;                                            // bytes of tar's field

std::uint32_t requireMode(std::uint32_t mode, const std::string& what) {
    // Only permission and set-id bits: a file type would contradict the entry's own.
    if ((mode & ~std::uint32_t{07777}) != 0) {
        throw invalidInput("", quotedName(what) + ": mode with more than 07777");
    }
    return mode;
}

/// Names are stored in tar and shown on terminals: a newline would add a line to a listing, a NUL would end the
/// field.
void requireOwner(std::uint64_t id, const std::string& name, const std::string& what) {
    // The array and its length, because one of the characters is a NUL.
    constexpr char forbidden[] = {'\n', '\0'};
    if (id > kLargestId) {
        throw invalidInput("", quotedName(what) + ": owner or group beyond " + std::to_string(kLargestId));
    }
    if (name.size() > kLongestOwner || name.find_first_of(forbidden, 0, sizeof forbidden) != std::string::npos) {
        throw invalidInput("", quotedName(what) + ": owner or group " + quotedName(name) +
                                   " has a NUL, a newline or more than " + std::to_string(kLongestOwner) +
                                   " bytes");
    }
}

void requireSound(const Attributes& attributes, const std::string& what) {
    requireMode(attributes.mode, what);
    requireOwner(attributes.uid, attributes.owner, what);
    requireOwner(attributes.gid, attributes.group, what);
}

/// The attributes that an entry without any has: they take no memory of their own.
bool isRoots(const Attributes& attributes) {
    return attributes.uid == 0 && attributes.gid == 0 && attributes.owner == "root" && attributes.group == "root";
}

SourceEntry entryOf(std::string path, EntryType type, const Attributes& attributes) {
    requireSound(attributes, path);
    SourceEntry entry;
    entry.path = std::move(path);
    entry.type = type;
    entry.mode = attributes.mode;
    entry.hasTime = attributes.mtime.has_value();
    entry.mtime = attributes.mtime.value_or(0);
    if (!isRoots(attributes)) {  // which few are: an entry is to be small
        entry.given = std::make_unique<const Attributes>(attributes);
    }
    return entry;
}

SourceEntry entryOf(std::string path, EntryType type, const Attributes& attributes, std::string data) {
    SourceEntry entry = entryOf(std::move(path), type, attributes);
    entry.size = data.size();
    entry.data = std::make_unique<const std::string>(std::move(data));
    return entry;
}

Attributes attributesOf(const Entry& entry) {
    return {entry.mode, entry.mtime, entry.uid, entry.gid, entry.owner, entry.group};
}

/// A removed conffile is listed once, however often it is given; dpkg warns of duplicates.
void addOnce(std::vector<std::string>& list, std::string item) {
    // Linear: a package has few conffiles to remove.
    if (std::find(list.begin(), list.end(), item) == list.end()) {
        list.push_back(std::move(item));
    }
}

std::string nameOf(int descriptor) {
    if (descriptor == 0) {
        return "standard input";
    }
    return "descriptor " + std::to_string(descriptor);
}

}  // namespace

class PackageWriter::Contents {
public:
    explicit Contents(System& theSystem) : system(theSystem), store(theSystem) {}

    void add(SourceEntry entry) { collection.entries.push_back(std::move(entry)); }

    /// Adds all that can be read from the descriptor as a file; `name` is for messages.
    void addRead(int descriptor, const std::string& name, SourceEntry entry) {
        const auto supply = [&](char* buffer, std::size_t size) {
            const ssize_t count = system.read(descriptor, buffer, size);
            if (count < 0) {
                throw systemFailure(name, "read", errno);
            }
            return static_cast<std::size_t>(count);
        };
        // First: if reading fails, nothing has been added.
        store.keep(supply, entry);
        entry.origin = collection.addOrigin({name, ""});
        add(std::move(entry));
    }

    System& system;
    Collection collection;
    ContentStore store;
};

PackageWriter::PackageWriter(std::unique_ptr<Contents> contents) : contents_(std::move(contents)) {}

PackageWriter::PackageWriter() : PackageWriter(std::make_unique<Contents>(System::real())) {}

PackageWriter WriterAccess::withSystem(System& system) {
    return PackageWriter(std::make_unique<PackageWriter::Contents>(system));
}

PackageWriter::~PackageWriter() = default;
PackageWriter::PackageWriter(PackageWriter&&) noexcept = default;
PackageWriter& PackageWriter::operator=(PackageWriter&&) noexcept = default;

ControlParagraph& PackageWriter::control() noexcept {
    return contents_->collection.control;
}

const ControlParagraph& PackageWriter::control() const noexcept {
    return contents_->collection.control;
}

void PackageWriter::addTree(const std::string& source, const TreeOptions& options) {
    TreeScanner(contents_->collection, contents_->system).scanTree(source, options);
}

void PackageWriter::addFile(const std::string& source, const std::string& path) {
    if (TreeScanner(contents_->collection, contents_->system).scanFile(source, path)) {
        return;
    }
    // scanFile() refused everything but a regular file and a FIFO, and added nothing for the FIFO. Opening it
    // blocks until somebody writes.
    // O_NONBLOCK is missing on purpose: with it a FIFO without a writer would look empty.
    const Descriptor pipe(contents_->system.openat(AT_FDCWD, source.c_str(), O_RDONLY | O_CLOEXEC, 0),
                          contents_->system);
    if (!pipe) {
        throw systemFailure(source, "open it", errno);
    }
    contents_->addRead(pipe.get(), source, entryOf(packageFilePath(path), EntryType::file, {}));
}

void PackageWriter::addFile(const std::string& source, const std::string& path, const Attributes& attributes) {
    // Checked before anything is added: what follows cannot fail once the entry is in the collection.
    requireSound(attributes, path);
    addFile(source, path);
    // The entry that was added last is the one of this file.
    contents_->collection.entries.back().given = std::make_unique<const Attributes>(attributes);
}

void PackageWriter::addDescriptor(int descriptor, const std::string& path, const Attributes& attributes) {
    requireSound(attributes, path);
    const std::string name = nameOf(descriptor);
    if (TreeScanner(contents_->collection, contents_->system).scanDescriptor(descriptor, name, path)) {
        contents_->collection.entries.back().given = std::make_unique<const Attributes>(attributes);
    } else {
        contents_->addRead(descriptor, name, entryOf(packageFilePath(path), EntryType::file, attributes));
    }
}

void PackageWriter::addContents(std::uint64_t size, ContentReader read, const std::string& path,
                                const Attributes& attributes) {
    SourceEntry entry = entryOf(packageFilePath(path), EntryType::file, attributes);
    entry.size = size;
    entry.reader = std::make_unique<const ContentReader>(std::move(read));
    contents_->add(std::move(entry));
}

void PackageWriter::addBytes(std::string bytes, const std::string& path, const Attributes& attributes) {
    contents_->add(entryOf(packageFilePath(path), EntryType::file, attributes, std::move(bytes)));
}

void PackageWriter::addSymlink(const std::string& target, const std::string& path, const Attributes& attributes) {
    // symlink(2) refuses such targets, so that the package could not be unpacked.
    if (target.empty() || target.size() >= PATH_MAX || target.find('\0') != std::string::npos) {
        throw invalidInput("", quotedName(path) +
                                   ": a symlink's target can't be empty, hold a NUL or have more than " +
                                   std::to_string(PATH_MAX - 1) + " bytes");
    }
    contents_->add(entryOf(packageFilePath(path), EntryType::symlink, attributes, target));
}

void PackageWriter::addDirectory(const std::string& path, const Attributes& attributes) {
    contents_->add(entryOf(packagePath(path), EntryType::directory, attributes));
}

void PackageWriter::addHardlink(const std::string& target, const std::string& path) {
    contents_->add(entryOf(packageFilePath(path), EntryType::hardlink, {}, packageFilePath(target)));
}

std::uint64_t PackageWriter::add(PackageReader& package, const std::function<bool(Entry&)>& filter) {
    // Keeps the entries of one package together: all are added, or none when the package is damaged.
    Rollback rollback(contents_->collection);
    std::uint64_t added = 0;
    for (Entry entry; package.next(entry);) {
        if (filter && !filter(entry)) {
            continue;
        }
        addEntry(entry, package);
        ++added;
    }
    rollback.keep();
    return added;
}

void PackageWriter::addEntry(const Entry& entry, PackageReader& package) {
    const Attributes attributes = attributesOf(entry);
    switch (entry.type) {
        case EntryType::file: {
            SourceEntry file = entryOf(packageFilePath(entry.path), EntryType::file, attributes);
            // The reader has passed on when the package is written, so the contents are kept in a scratch file.
            contents_->store.keep([&](char* buffer, std::size_t size) { return package.read(buffer, size); },
                                  file);
            contents_->add(std::move(file));
            break;
        }
        case EntryType::directory:
            addDirectory(entry.path, attributes);
            break;
        case EntryType::symlink:
            addSymlink(entry.linkTarget, entry.path, attributes);
            break;
        case EntryType::hardlink:
            addHardlink(entry.linkTarget, entry.path);
            break;
        default:
            throw Place("")
                .at(entry.path)
                .error(ErrorKind::invalidInput, "entry-type", "is of a type that a package can't hold");
    }
}

void PackageWriter::addControl(const PackageReader& package) {
    contents_->collection.control = package.control();
    for (const ControlMember& member : package.controlMembers()) {
        const std::string name = plainPath(member.entry.path);
        if (name == "conffiles") {
            addConffiles(member.contents);
            // The others are made anew: "control" from the fields, "md5sums" from the payload as it will be.
        } else if (name != "control" && name != "md5sums") {
            addControlMember(name, member.contents);
        }
    }
}

void PackageWriter::setMode(const std::string& pattern, std::uint32_t mode) {
    contents_->collection.modes.push_back({Pattern(pattern), requireMode(mode, pattern)});
}

void PackageWriter::setOwner(const std::string& pattern, const Ownership& owner) {
    requireOwner(owner.uid, owner.owner, pattern);
    requireOwner(owner.gid, owner.group, pattern);
    contents_->collection.owners.push_back({Pattern(pattern), owner});
}

void PackageWriter::addControlMember(const std::string& name, std::string contents) {
    const auto refuse = [&name](const char* fault) {
        throw invalidInput("", "control member " + quotedName(name) + ": " + fault);
    };
    // The name becomes a file in dpkg's database on every system that installs the package.
    if (!isPlainFileName(name)) {
        refuse("is not a plain file name");
    }
    if (name == "control" || name == "conffiles") {
        refuse("is made by the writer");
    }
    // emplace() changes nothing when the name is taken.
    if (!contents_->collection.controlMembers.emplace(name, std::move(contents)).second) {
        refuse("is given twice");
    }
}

void PackageWriter::addConffile(const std::string& path) {
    contents_->collection.conffiles.push_back(packageFilePath(path));
}

void PackageWriter::addConffilesBelow(const std::string& path) {
    contents_->collection.conffileTrees.push_back(packagePath(path));
}

void PackageWriter::addRemovedConffile(const std::string& path) {
    addOnce(contents_->collection.removedConffiles, packageFilePath(path));
}

void PackageWriter::addConffiles(std::string_view text) {
    constexpr std::string_view removal = "remove-on-upgrade ";
    constexpr const char* blanks = " \t\r";
    forEachLine(text, [&](std::string_view line) {
        line = line.substr(0, line.find_last_not_of(blanks) + 1);
        if (startsWith(line, removal)) {
            // There is a path: blanks at the line's end are cut off, so that it cannot end with the flag's own
            // blank.
            addRemovedConffile(std::string(line.substr(line.find_first_not_of(blanks, removal.size()))));
        } else if (!line.empty()) {
            addConffile(std::string(line));
        }
    });
}

std::vector<Entry> PackageWriter::plan(const WriteOptions& options) const {
    const Plan plan(contents_->collection, options);
    std::vector<Entry> entries;
    entries.reserve(plan.size());
    for (std::size_t i = 0; i < plan.size(); ++i) {
        entries.push_back(plan.entry(i));
    }
    return entries;
}

WriteResult PackageWriter::write(const std::string& path, const WriteOptions& options) const {
    PackageBuild build(contents_->collection, options, contents_->system);
    if (options.dryRun) {
        return build.pretend(path);
    }
    return build.writeFile(path);
}

WriteResult PackageWriter::write(Sink& out, const std::string& temporaryFolder,
                                 const WriteOptions& options) const {
    PackageBuild build(contents_->collection, options, contents_->system);
    if (options.dryRun) {
        return build.pretend("");
    }
    return build.writeTo(out, std::string(orIfEmpty(temporaryFolder, temporaryDirectory())));
}

}  // namespace bex::stream

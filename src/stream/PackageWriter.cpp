#include "bex/stream/PackageWriter.hpp"

#include <algorithm>
#include <climits>
#include <utility>

#include "bex/stream/AtomicFile.hpp"
#include "stream/Comparison.hpp"
#include "stream/base/Place.hpp"
#include "stream/system/System.hpp"
#include "stream/writer/Collection.hpp"
#include "stream/writer/FileReader.hpp"
#include "stream/writer/PackageBuild.hpp"
#include "stream/writer/PackagePath.hpp"
#include "stream/writer/Plan.hpp"
#include "stream/writer/TreeScanner.hpp"

namespace bex::stream {

namespace {

std::uint32_t requireMode(std::uint32_t mode, const std::string& what) {
    if ((mode & ~std::uint32_t{07777}) != 0) {
        throw invalidInput("", quotedName(what) + ": mode with more than 07777");
    }
    return mode;
}

SourceEntry entryOf(std::string path, EntryType type, const Attributes& attributes) {
    SourceEntry entry;
    entry.mode = requireMode(attributes.mode, path);
    entry.path = std::move(path);
    entry.type = type;
    entry.hasTime = attributes.mtime.has_value();
    entry.mtime = attributes.mtime.value_or(0);
    return entry;
}

void setData(SourceEntry& entry, std::string data) {
    entry.size = data.size();
    entry.data = std::make_unique<const std::string>(std::move(data));
}

bool isPlainFileName(const std::string& name) {
    constexpr char forbidden[] = {'/', '\n', '\0'};
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(forbidden, 0, sizeof forbidden) == std::string::npos;
}

void addOnce(std::vector<std::string>& list, std::string item) {
    if (std::find(list.begin(), list.end(), item) == list.end()) {
        list.push_back(std::move(item));
    }
}

std::string folderOf(const std::string& path) {
    const std::size_t end = path.rfind('/');
    return end == std::string::npos ? "." : path.substr(0, std::max<std::size_t>(end, 1));
}

}  // namespace

class PackageWriter::Contents {
public:
    explicit Contents(System& theSystem) : system(theSystem) {}

    System& system;
    Collection collection;
};

PackageWriter::PackageWriter() : PackageWriter(System::real()) {}

PackageWriter::PackageWriter(System& system) : contents_(std::make_unique<Contents>(system)) {}

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
    TreeScanner(contents_->collection, contents_->system).scanFile(source, path);
}

void PackageWriter::addFile(const std::string& source, const std::string& path, const Attributes& attributes) {
    requireMode(attributes.mode, path);
    addFile(source, path);
    SourceEntry& entry = contents_->collection.entries.back();
    if (entry.type != EntryType::file) {
        contents_->collection.entries.pop_back();
        throw invalidInput(source, "is no regular file");
    }
    entry.given = std::make_unique<const Attributes>(attributes);
    entry.uid = 0;
    entry.gid = 0;
}

void PackageWriter::addBytes(std::string bytes, const std::string& path, const Attributes& attributes) {
    SourceEntry entry = entryOf(packageFilePath(path), EntryType::file, attributes);
    setData(entry, std::move(bytes));
    contents_->collection.entries.push_back(std::move(entry));
}

void PackageWriter::addSymlink(const std::string& target, const std::string& path, const Attributes& attributes) {
    SourceEntry entry = entryOf(packageFilePath(path), EntryType::symlink, attributes);
    if (target.empty() || target.size() >= PATH_MAX || target.find('\0') != std::string::npos) {
        throw invalidInput("", quotedName(path) +
                                   ": a symlink's target can't be empty, hold a NUL or have more than " +
                                   std::to_string(PATH_MAX - 1) + " bytes");
    }
    setData(entry, target);
    contents_->collection.entries.push_back(std::move(entry));
}

void PackageWriter::addDirectory(const std::string& path, const Attributes& attributes) {
    contents_->collection.entries.push_back(entryOf(packagePath(path), EntryType::directory, attributes));
}

void PackageWriter::setMode(const std::string& pattern, std::uint32_t mode) {
    contents_->collection.modes.push_back({pattern, requireMode(mode, pattern)});
}

void PackageWriter::addControlMember(const std::string& name, std::string contents) {
    const char* fault = !isPlainFileName(name)                                  ? "is no plain file name"
                        : name == "control" || name == "conffiles"              ? "is made by the writer"
                        : contents_->collection.controlMembers.count(name) != 0 ? "is given twice"
                                                                                : nullptr;
    if (fault != nullptr) {
        throw invalidInput("", "control member " + quotedName(name) + ": " + fault);
    }
    contents_->collection.controlMembers.emplace(name, std::move(contents));
}

void PackageWriter::addConffile(const std::string& path) {
    addOnce(contents_->collection.conffiles, packageFilePath(path));
}

void PackageWriter::addRemovedConffile(const std::string& path) {
    addOnce(contents_->collection.removedConffiles, packageFilePath(path));
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
    AtomicFile file(path, contents_->system);
    const WriteResult result = build.writeTo(file, folderOf(path));
    file.commit();
    return result;
}

void PackageWriter::compare(PackageReader& package, const WriteOptions& options) const {
    compareWithSources(package, Plan(contents_->collection, options),
                       FileReader(contents_->collection, contents_->system));
}

WriteResult PackageWriter::write(Sink& out, const std::string& temporaryFolder,
                                 const WriteOptions& options) const {
    return PackageBuild(contents_->collection, options, contents_->system).writeTo(out, temporaryFolder);
}

}  // namespace bex::stream

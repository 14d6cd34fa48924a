#include <algorithm>
#include <boost/filesystem.hpp>
#include <iostream>
#include <memory>

#include "bex/BexException.hpp"
#include "bex/MemoryMappedFile.hpp"
#include "bex/ZRBex.hpp"
#include "bex/ZRBexUtils.hpp"

namespace fs = boost::filesystem;

namespace bex {
namespace {

/// Returns the directory in which the process started. Boost keeps the result of the first call, so the first
/// call must happen while the library is loaded.
const fs::path& startingDirectory() {
    static const fs::path directory = [] {
        boost::system::error_code gone;
        return fs::initial_path(gone);
    }();
    return directory;
}

[[maybe_unused]] const fs::path& kStartingDirectory = startingDirectory();

std::string absoluteForm(const fs::path& path) {
    if (path.empty() || path.has_root_directory()) {
        return path.string();
    }
    return (startingDirectory() / path).string();
}

std::string withSlash(std::string path) {
    if (path.empty() || path.back() != '/') {
        path += '/';
    }
    return path;
}

/// New records that are added to the package together, so that a failure in between leaves it unchanged.
class NewEntries {
public:
    NewEntries() = default;
    NewEntries(const NewEntries&) = delete;
    NewEntries& operator=(const NewEntries&) = delete;
    ~NewEntries() {
        for (const FileOnDisk* file : records_) {
            delete file;
        }
    }

    void add(const std::string& pathOnDisk, const std::string& nameInArchive) {
        auto file = std::make_unique<FileOnDisk>(FileOnDisk{pathOnDisk, nameInArchive});
        names_.push_back(nameInArchive);
        records_.push_back(file.get());
        file.release();
    }

    void moveTo(std::list<FileOnDisk*>& records, std::list<std::string>& names) {
        records.splice(records.end(), records_);
        names.splice(names.end(), names_);
    }

private:
    std::list<FileOnDisk*> records_;
    std::list<std::string> names_;
};

/// Adds `root` and everything below it; `nameOfRoot` replaces `root` in the package paths. Both end in "/".
void addTree(NewEntries& entries, const std::string& root, const std::string& nameOfRoot) {
    const std::unique_ptr<std::list<std::string>> paths(ZRBexUtils::getInstance()->scanDir(root));
    for (const std::string& path : *paths) {
        entries.add(path, nameOfRoot + path.substr(root.size()));
    }
}

}  // namespace

void ZRBex::add(const std::string& src, const std::string& dst) {
    if (!fs::exists(src)) {
        throw BexException("Can't add " + absoluteForm(src) +
                           " file to bex because it is not accessible doesn't exist.");
    }
    const bool isTree = fs::is_directory(src);
    const std::string path = dst.empty() ? src : dst;
    const std::string name = isTree ? withSlash(path) : path;
    if (isFileInArchive(name)) {
        return;  // Meant: not an error. Only the tree's own path is looked up, not the paths below it.
    }
    NewEntries entries;
    if (isTree) {
        addTree(entries, withSlash(src), name);
    } else {
        entries.add(src, name);
    }
    entries.moveTo(filesOnDisk_, files_);
}

void ZRBex::add(const MemoryMappedFile& /*file*/) {}

void ZRBex::add(const std::list<std::string>& paths) {
    for (const std::string& path : paths) {
        add(path, "");
    }
}

void ZRBex::add(const std::list<MemoryMappedFile*>& /*files*/) {}

void ZRBex::add(sFileInMemory* file) {
    std::list<std::string> name{file->name_};  // First all that can throw, so that both lists stay in step.
    filesInMemory_.push_back(file);
    files_.splice(files_.end(), name);
}

void ZRBex::add(std::list<sFileInMemory*>& files) {
    for (sFileInMemory* file : files) {
        add(file);
    }
}

bool ZRBex::isFileInArchive(const std::string& name) {
    return std::any_of(filesOnDisk_.begin(), filesOnDisk_.end(),
                       [&](const FileOnDisk* file) { return file->nameInArchive_ == name; }) ||
           std::any_of(filesInMemory_.begin(), filesInMemory_.end(),
                       [&](const sFileInMemory* file) { return file->name_ == name; });
}

void ZRBex::printFiles() const {
    const std::list<std::string> files = getFiles();
    for (const std::string& file : files) {
        std::cout << file << std::endl;
    }
}

}  // namespace bex

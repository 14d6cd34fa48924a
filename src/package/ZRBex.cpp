#include "bex/ZRBex.hpp"

#include <fstream>

namespace bex {

ZRBex::ZRBex() : extension_("wqt") {}

// Meant: path and extension come first, though declared last. A subclass of `other` sees this order of calls.
ZRBex::ZRBex(const ZRBex& other)
    : PackageManager(other), filename_(other.filename_), extension_(other.getExtension()) {
    // cppcheck-suppress useInitializationList; members are initialized in another order than these calls
    files_ = other.getFiles();
    filesOnDisk_ = other.filesOnDisk_;
    filesInMemory_ = other.filesInMemory_;
    metaData_ = other.metaData_;
}

ZRBex::~ZRBex() = default;

PackageManager* ZRBex::clone() const {
    return new ZRBex(*this);
}

void ZRBex::open(std::ostream& /*out*/) {}

void ZRBex::open(const std::string& path) {
    if (std::ifstream(path).is_open()) {
        xLoadBexFile(path);
    }
    filename_ = path;  // Only now: after a throw the object keeps its path.
}

const std::string& ZRBex::getFilename() const {
    return filename_;
}

const std::list<FileOnDisk*>& ZRBex::getFilesOnDisk() const {
    return filesOnDisk_;
}

const std::list<sFileInMemory*>& ZRBex::getFilesInMemory() const {
    return filesInMemory_;
}

const std::map<std::string, std::string>& ZRBex::getMetaData() const {
    return metaData_;
}

const std::list<std::string>& ZRBex::getFiles() const {
    return files_;
}

const std::string& ZRBex::getExtension() const {
    return extension_;
}

}  // namespace bex

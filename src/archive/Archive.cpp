#include "bex/Archive.hpp"

#include <functional>
#include <iostream>

#include "archive/OwnedFiles.hpp"

namespace bex {

Archive::Archive() = default;

Archive::~Archive() {
    // A caller may have added a record twice, but it must be deleted once. Sorting a list allocates nothing.
    filesInMemory_.sort(std::less<>{});
    filesInMemory_.unique();
    for (const sFileInMemory* file : filesInMemory_) {
        delete file;
    }
}

void Archive::add(std::list<std::string>& /*paths*/) {}

void Archive::add(const FileOnDisk* file) {
    filesOnDisk_.push_back(file);
}

void Archive::add(sFileInMemory* file) {
    filesInMemory_.push_back(file);
}

void Archive::add(std::list<sFileInMemory*>& files) {
    for (sFileInMemory* file : files) {
        add(file);
    }
}

const std::list<const FileOnDisk*>& Archive::getFilesOnDisk() const {
    return filesOnDisk_;
}

sFileInMemory* Archive::getFileInMemory(const std::string& name) const {
    sFileInMemory* found = nullptr;
    for (sFileInMemory* file : filesInMemory_) {
        if (file->name_ == name) {
            found = file;  // Meant: the last one of several.
        }
    }
    return found;
}

std::list<sFileInMemory*>* Archive::getFilesInMem() const {
    OwnedFiles copies(new std::list<sFileInMemory*>);
    for (const sFileInMemory* file : filesInMemory_) {
        append(*copies, newFile(file->name_, file->bytes_, file->size_));
    }
    return copies.release();
}

void Archive::releaseBuffers() {
    for (sFileInMemory* file : filesInMemory_) {
        delete[] file->bytes_;
        file->bytes_ = nullptr;
        file->size_ = 0;
    }
}

void Archive::moveFilesInMemTo(std::list<sFileInMemory*>& files) {
    files.splice(files.end(), filesInMemory_);
}

void Archive::printFiles() const {
    std::cout << "Files on disk:" << std::endl;
    for (const FileOnDisk* file : filesOnDisk_) {
        // Meant: this list alone shows the path on disk in place of an empty name.
        std::cout << (file->nameInArchive_.empty() ? file->pathOnDisk_ : file->nameInArchive_) << std::endl;
    }
    std::cout << "Files In memory:" << std::endl;
    for (const sFileInMemory* file : filesInMemory_) {
        // Meant: the record's address, not its size.
        std::cout << static_cast<const void*>(file) << " " << file->name_ << std::endl;
    }
}

}  // namespace bex

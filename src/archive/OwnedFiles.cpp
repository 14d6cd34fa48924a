#include "archive/OwnedFiles.hpp"

#include <algorithm>
#include <utility>

namespace bex {

OwnedFile newFile(const std::string& name, const char* bytes, std::size_t size) {
    OwnedFile file(new sFileInMemory{size, nullptr, name});
    file->bytes_ = new char[size];
    std::copy_n(bytes, size, file->bytes_);
    return file;
}

void append(std::list<sFileInMemory*>& files, OwnedFile file) {
    files.push_back(file.get());
    file.release();
}

}  // namespace bex

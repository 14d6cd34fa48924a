#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <string>

#include "bex/MemoryMappedFile.hpp"

namespace bex {

/// Deletes an in-memory record and its buffer: for records that nobody else owns yet.
struct DeleteFile {
    void operator()(sFileInMemory* file) const noexcept {
        delete[] file->bytes_;
        delete file;
    }
};

struct DeleteFiles {
    void operator()(std::list<sFileInMemory*>* files) const noexcept {
        for (sFileInMemory* file : *files) {
            DeleteFile{}(file);
        }
        delete files;
    }
};

using OwnedFile = std::unique_ptr<sFileInMemory, DeleteFile>;
using OwnedFiles = std::unique_ptr<std::list<sFileInMemory*>, DeleteFiles>;

/// Returns a new record called `name` with a copy of `size` bytes.
OwnedFile newFile(const std::string& name, const char* bytes, std::size_t size);

/// Moves `file` to the end of a list of plain pointers, whose owner then owns it.
void append(std::list<sFileInMemory*>& files, OwnedFile file);

}  // namespace bex

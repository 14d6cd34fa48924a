#include <sys/stat.h>

#include <fstream>
#include <new>

#include "archive/EntryWriter.hpp"
#include "archive/Handles.hpp"
#include "archive/OwnedFiles.hpp"
#include "archive/PartialFile.hpp"
#include "bex/Archive.hpp"
#include "bex/BexException.hpp"
#include "support/ResolvedPath.hpp"

namespace bex {
namespace {

constexpr unsigned long kReservePerFile = 200;  // bytes for its header, compressed

/// Returns the length of a file on disk for the estimate. Opens regular files only: the end of an opened
/// directory is at 2^63 - 1 on ext4, and opening a pipe blocks.
std::streamoff lengthOf(const std::string& path) {
    struct stat attributes = {};
    if (::stat(path.c_str(), &attributes) == 0 && !S_ISREG(attributes.st_mode)) {
        return 0;
    }
    std::ifstream file(path);
    file.seekg(0, std::ios::end);
    return file.tellg();  // Meant: -1 for a file that cannot be opened.
}

/// Returns the size of the buffer for an archive in memory. The buffer never grows: what exceeds it is an error.
/// Compressible contents leave room for others, which is why most archives fit.
unsigned long estimate(const std::list<const FileOnDisk*>& onDisk, const std::list<sFileInMemory*>& inMemory) {
    unsigned long bytes = kReservePerFile;
    for (const FileOnDisk* file : onDisk) {
        bytes += static_cast<unsigned long>(lengthOf(file->pathOnDisk_)) + kReservePerFile;
    }
    for (const sFileInMemory* file : inMemory) {
        bytes += file->size_ + kReservePerFile;
    }
    return bytes;
}

}  // namespace

sFileInMemory* Archive::writeArchiveInMemory(const std::string& name) {
    // Both are declared before the handle: closing an abandoned handle still writes to them.
    OwnedFile result(new sFileInMemory{0, nullptr, ""});
    std::size_t used = 0;
    Writer handle = newWriter();
    xSetWriteFormat(handle.get());  // The result is not checked: without a format the first entry is refused.
    const unsigned long capacity = estimate(filesOnDisk_, filesInMemory_);
    result->bytes_ = new char[capacity];
    if (archive_write_open_memory(handle.get(), result->bytes_, capacity, &used) != ARCHIVE_OK) {
        throw std::bad_alloc();  // Memory is all that it can lack.
    }
    writeFilesToArchive(handle.get());
    handle.release();  // writeFilesToArchive() has freed it.
    result->size_ = used;
    result->name_ = name;
    return result.release();
}

int Archive::writeArchiveInFile(const std::string& path) {
    Writer handle = newWriter();
    xSetWriteFormat(handle.get());  // The result is not checked: without a format the first entry is refused.
    if (archive_write_open_filename(handle.get(), path.c_str()) != ARCHIVE_OK) {
        throw BexException("Can't write archive to file " + path + ".");
    }
    PartialFile partial(resolvedPath(path));  // The file itself, where links lead to it.
    const int result = writeFilesToArchive(handle.get());
    handle.release();  // writeFilesToArchive() has freed it.
    partial.keep();
    return result;
}

int Archive::writeFilesToArchive(archive* a) {
    bool alive = true;  // After a fatal result the handle accepts nothing more.
    for (const FileOnDisk* file : filesOnDisk_) {
        alive = alive && writeFileOnDisk(a, *file);
    }
    for (const sFileInMemory* file : filesInMemory_) {
        writeFileInMemory(a, *file);  // throws when the handle is dead
    }
    // The close decides: it reports bytes that were still buffered. Freeing reports success even when the
    // archive is lost. Before the close succeeds nothing frees the handle, because the caller will.
    if (!alive || archive_write_close(a) != ARCHIVE_OK) {
        throw BexException("Can't close the archive.");
    }
    return archive_write_free(a);  // ARCHIVE_OK: a closed handle has nothing left that could fail
}

}  // namespace bex

#include <sys/stat.h>

#include <boost/filesystem.hpp>
#include <fstream>
#include <new>
#include <utility>

#include "archive/EntryWriter.hpp"
#include "archive/Handles.hpp"
#include "archive/OwnedFiles.hpp"
#include "bex/Archive.hpp"
#include "bex/BexException.hpp"

namespace bex {
namespace {

constexpr unsigned long reservePerFile = 200;

/// What a file on disk adds to the estimate. Only regular files are opened: the end of an opened directory is
/// 2^63 - 1 on ext4, and opening a pipe blocks.
std::streamoff lengthOf(const std::string& path) {
    struct stat attributes = {};
    if (::stat(path.c_str(), &attributes) == 0 && !S_ISREG(attributes.st_mode)) {
        return 0;
    }
    std::ifstream file(path);
    file.seekg(0, std::ios::end);
    return file.tellg();  // Meant: -1 for a file that can't be opened.
}

/// The whole size of a buffer in memory. It never grows, so an archive that does not fit fails.
unsigned long estimate(const std::list<const FileOnDisk*>& onDisk, const std::list<sFileInMemory*>& inMemory) {
    unsigned long bytes = reservePerFile;
    for (const FileOnDisk* file : onDisk) {
        bytes += static_cast<unsigned long>(lengthOf(file->pathOnDisk_)) + reservePerFile;
    }
    for (const sFileInMemory* file : inMemory) {
        bytes += file->size_ + reservePerFile;
    }
    return bytes;
}

/// Removes a half-written regular file, wherever links to it led, unless keep() is called. Devices and pipes
/// are left alone.
class PartialFile {
public:
    explicit PartialFile(const std::string& path) : path_(boost::filesystem::canonical(path, ignored_)) {}
    ~PartialFile() {
        if (!kept_ && boost::filesystem::is_regular_file(path_, ignored_)) {
            boost::filesystem::remove(path_, ignored_);  // the failure that led here is what gets reported
        }
    }

    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;

    void keep() { kept_ = true; }

private:
    boost::system::error_code ignored_;
    boost::filesystem::path path_;
    bool kept_ = false;
};

/// Ends the archive and reports what libarchive may notice only now: bytes that were still buffered.
int finish(Writer handle) {
    // The close decides: freeing a handle reports success even when the archive was lost.
    if (archive_write_close(handle.get()) != ARCHIVE_OK || archive_write_free(handle.release()) != ARCHIVE_OK) {
        throw BexException("Can't close the archive.");
    }
    return 0;
}

}  // namespace

sFileInMemory* Archive::writeArchiveInMemory(const std::string& name) {
    OwnedFile result(new sFileInMemory{0, nullptr, ""});
    Writer handle = newWriter();
    xSetWriteFormat(handle.get());  // not tested: a handle without a format refuses the first entry
    const unsigned long capacity = estimate(filesOnDisk_, filesInMemory_);
    result->bytes_ = new char[capacity];
    std::size_t used = 0;
    if (archive_write_open_memory(handle.get(), result->bytes_, capacity, &used) != ARCHIVE_OK) {
        throw std::bad_alloc();  // nothing else goes wrong there
    }
    writeFilesToArchive(handle.release());
    result->size_ = used;
    result->name_ = name;
    return result.release();
}

int Archive::writeArchiveInFile(const std::string& path) {
    Writer handle = newWriter();
    xSetWriteFormat(handle.get());  // not tested: a handle without a format refuses the first entry
    if (archive_write_open_filename(handle.get(), path.c_str()) != ARCHIVE_OK) {
        throw BexException("Can't write archive to file " + path + ".");
    }
    PartialFile partial(path);
    const int result = writeFilesToArchive(handle.release());
    partial.keep();
    return result;
}

int Archive::writeFilesToArchive(archive* a) {
    Writer handle(a);
    bool alive = true;
    for (const FileOnDisk* file : filesOnDisk_) {
        alive = alive && writeFileOnDisk(a, *file);
    }
    for (const sFileInMemory* file : filesInMemory_) {
        writeFileInMemory(a, *file);  // throws on a dead handle
    }
    if (!alive) {
        throw BexException("Can't close the archive.");
    }
    return finish(std::move(handle));
}

}  // namespace bex

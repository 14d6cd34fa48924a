#include "archive/EntryWriter.hpp"

#include <sys/stat.h>

#include <array>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <fstream>

#include "bex/BexException.hpp"
#include "bex/MemoryMappedFile.hpp"

namespace bex {
namespace {

/// Returns false when the handle is dead.
bool writeContents(archive* a, const std::string& path) {
    // Meant: a file that cannot be opened for writing is not read either. libarchive adds zeros up to the size
    // in the header, and ignores bytes beyond it.
    std::fstream file(path, std::ios::in | std::ios::out);
    std::array<char, 8192> chunk;
    la_ssize_t written = 1;
    for (file.read(chunk.data(), chunk.size()); file.gcount() > 0 && written > 0;
         file.read(chunk.data(), chunk.size())) {
        written = archive_write_data(a, chunk.data(), static_cast<std::size_t>(file.gcount()));
    }
    return written >= 0;  // 0: the entry has its size
}

Entry entryFor(const sFileInMemory& file) {
    Entry entry = newEntry();
    archive_entry_set_pathname(entry.get(), file.name_.c_str());
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(file.size_));
    archive_entry_set_perm(entry.get(), 0600);
    // Meant: the local wall-clock time is counted as UTC.
    const auto now = boost::posix_time::second_clock::local_time();
    archive_entry_set_mtime(entry.get(), bex::to_time_t(now), 0);
    return entry;
}

}  // namespace

bool writeFileOnDisk(archive* a, const FileOnDisk& file) {
    struct stat attributes = {};
    if (::stat(file.pathOnDisk_.c_str(), &attributes) != 0) {
        attributes = {};  // It does not exist: formats refuse an entry without a type, so it is skipped.
    }
    const Entry entry = newEntry();
    archive_entry_copy_stat(entry.get(), &attributes);
    archive_entry_set_pathname(entry.get(), file.nameInArchive_.c_str());
    const int result = archive_write_header(a, entry.get());
    if (result == ARCHIVE_FATAL) {
        return false;
    }
    // Data without a header would kill the handle. After a warning there may be a header; where there is none
    // (the ar writer), the data is ignored. Pipes and devices are not opened: that could block.
    return result < ARCHIVE_WARN || !S_ISREG(attributes.st_mode) || writeContents(a, file.pathOnDisk_);
}

void writeFileInMemory(archive* a, const sFileInMemory& file) {
    const Entry entry = entryFor(file);
    if (archive_write_header(a, entry.get()) != ARCHIVE_OK) {
        throw BexException("Couldn't write header for file " + file.name_);
    }
    // One call writes all, except beyond 2 GiB: libarchive accepts no more at once.
    for (unsigned long done = 0; done < file.size_;) {
        const la_ssize_t written = archive_write_data(a, file.bytes_ + done, file.size_ - done);
        if (written <= 0) {
            throw BexException("Couldn't write archive.");
        }
        done += static_cast<unsigned long>(written);
    }
}

}  // namespace bex

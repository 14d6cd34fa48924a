#pragma once

#include <ctime>
#include <memory>
#include <string>

#include "bex/Export.hpp"

namespace boost::posix_time {
class ptime;
}

/// A file or directory on disk that goes into an archive. Records are made with `new` by the package object;
/// the library never deletes one, so whoever wants the memory back does so after the last archive or package
/// that lists it is gone.
struct FileOnDisk {
    std::string pathOnDisk_;     ///< what is read when the archive is written
    std::string nameInArchive_;  ///< the entry's name, used as it stands
};

namespace bex {

/// A file held in memory. Whoever makes one sets all three fields and makes record and buffer with `new` and
/// `new[]`, because they change hands:
/// - a record added to an Archive is deleted with that archive, its buffer is not;
/// - a record added to a package is never deleted by the package, but `close()` hands it to an archive;
/// - a record that a function returns as new belongs to the caller, buffer included, unless it says otherwise.
struct sFileInMemory {
    unsigned long size_;  ///< bytes in the buffer that count
    char* bytes_;         ///< at least `size_` bytes from `new char[]`
    std::string name_;    ///< the entry's path name in an archive
};

/// A named block of bytes that owns its buffer.
class BEX_EXPORT MemoryMappedFile {
public:
    /// Allocates `size` bytes and leaves them as they come: the caller fills them through bytes().
    MemoryMappedFile(const std::string& name, unsigned long size);

    /// A copy with a buffer of its own. Takes getSize() bytes from the other's buffer, which must have them:
    /// after a setSize() beyond the constructor's size, an object must not be copied.
    MemoryMappedFile(const MemoryMappedFile& other);
    MemoryMappedFile& operator=(const MemoryMappedFile&) = delete;
    virtual ~MemoryMappedFile();

    /// The buffer, which stays the object's and as long as the constructor made it.
    char* bytes();
    const std::string& getName() const;
    unsigned long getSize() const;
    void setName(const std::string& name);

    /// Changes the number that getSize() reports. Meant: the buffer stays as it is.
    void setSize(unsigned long size);

private:
    unsigned long size_;
    std::unique_ptr<char[]> bytes_;
    std::string name_;
};

/// Seconds from 1970-01-01 00:00:00 to `t`, a fraction dropped towards zero. Negative infinity gives 0 and
/// positive infinity 2147483647; the result for not-a-date-time is unspecified. Call it qualified:
/// Boost has a function of this name, found through the argument.
BEX_EXPORT std::time_t to_time_t(boost::posix_time::ptime t);

}  // namespace bex

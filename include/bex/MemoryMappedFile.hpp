#pragma once

#include <ctime>
#include <memory>
#include <string>

#include "bex/Export.hpp"

namespace boost::posix_time {
class ptime;
}

/// A file or directory on disk that is to be archived. The package object makes these records with `new`, and
/// the library never deletes one: the caller may, once no archive or package lists it any more.
struct FileOnDisk {
    std::string pathOnDisk_;     ///< the file that is read when the archive is written
    std::string nameInArchive_;  ///< the name of the entry, used unchanged
};

namespace bex {

/// A file held in memory. The code that makes one sets all three fields, and allocates the record with `new` and
/// the buffer with `new[]`, because their owner changes:
/// - an Archive deletes the records that were added to it, but not their buffers;
/// - a package deletes no record, but its `close()` passes them to an archive;
/// - a new record that a function returns belongs to the caller with its buffer, unless the function says
///   otherwise.
struct sFileInMemory {
    unsigned long size_;  ///< length of the contents in bytes
    char* bytes_;         ///< at least `size_` bytes, allocated with `new char[]`
    std::string name_;    ///< the path name of the entry in an archive
};

/// A named block of bytes that owns its buffer.
class BEX_EXPORT MemoryMappedFile {
public:
    /// Allocates `size` bytes and does not set them: the caller fills them through bytes().
    MemoryMappedFile(const std::string& name, unsigned long size);

    /// Copies getSize() bytes into a new buffer. The buffer of `other` must have as many: do not copy an
    /// object after setSize() with more than its constructor allocated.
    MemoryMappedFile(const MemoryMappedFile& other);
    MemoryMappedFile& operator=(const MemoryMappedFile&) = delete;
    virtual ~MemoryMappedFile();

    /// Returns the buffer, which the object keeps. Its length is the one given to the constructor.
    char* bytes();
    const std::string& getName() const;
    unsigned long getSize() const;
    void setName(const std::string& name);

    /// Changes the number that getSize() returns. Meant: the buffer does not change.
    void setSize(unsigned long size);

private:
    unsigned long size_;
    std::unique_ptr<char[]> bytes_;
    std::string name_;
};

/// Returns the seconds from 1970-01-01 00:00:00 to `t`, rounded towards zero. Returns 0 for negative infinity and
/// 2147483647 for positive infinity; the result for not-a-date-time is unspecified. Call it as bex::to_time_t:
/// argument-dependent lookup also finds a function of this name in Boost.
BEX_EXPORT std::time_t to_time_t(boost::posix_time::ptime t);

}  // namespace bex

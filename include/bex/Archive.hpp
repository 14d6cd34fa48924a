#pragma once

#include <list>
#include <string>

#include "bex/Export.hpp"

struct archive;
struct FileOnDisk;

namespace bex {

struct sFileInMemory;

/// A list of files on disk and a list of files in memory that make up one archive. Writes them to a file or
/// into memory, and holds the entries that were read from an existing archive. A subclass chooses the format
/// and opens existing archives.
///
/// Whole archives and whole entries are held in memory; files on disk are streamed while they are written.
/// Writing changes neither list, so an archive can be written again. Used by one thread at a time.
class BEX_EXPORT Archive {
public:
    Archive();
    Archive(const Archive&) = delete;
    Archive& operator=(const Archive&) = delete;

    /// Deletes every in-memory record, each once, but not its byte buffer. Meant: archives and packages pass
    /// buffers to each other, so whoever holds a buffer frees it (see releaseBuffers()). Deletes no FileOnDisk.
    virtual ~Archive();

    /// Does nothing: files on disk are added as FileOnDisk records.
    virtual void add(std::list<std::string>& paths);

    /// Lists a file on disk. The record stays the caller's and must outlive the archive.
    virtual void add(const FileOnDisk* file);

    /// Takes over the record, not its bytes: the record is deleted with this archive. Not null.
    virtual void add(sFileInMemory* file);

    /// Adds each record in order; does not change the list.
    virtual void add(std::list<sFileInMemory*>& files);

    /// Writes the archive to the file `path` and overwrites a file that exists. Returns 0. Throws BexException
    /// when the file cannot be opened, when an in-memory entry cannot be written, and when not all bytes reach
    /// the file. After a failed write a regular file is removed, with its old contents.
    virtual int writeArchiveInFile(const std::string& path);

    /// Writes the archive into memory. Returns a new record called `name`; the caller owns it and its buffer.
    /// The buffer has 200 bytes, plus 200 and its length for each file, and never grows. Throws BexException
    /// when the archive does not fit, and when an in-memory entry cannot be written.
    virtual sFileInMemory* writeArchiveInMemory(const std::string& name);

    /// Prints both lists to standard output, each under a heading. Lines for in-memory files show the address
    /// of the record and its name.
    virtual void printFiles() const;

    /// Returns the list itself, which lives as long as the archive.
    const std::list<const FileOnDisk*>& getFilesOnDisk() const;

    /// Returns the in-memory record with exactly this name (the last one if there are several), or null. The
    /// archive keeps the record. Takes time linear in the number of records.
    sFileInMemory* getFileInMemory(const std::string& name) const;

    /// Returns deep copies of all in-memory records in order. The caller owns the list, the records and their
    /// buffers.
    std::list<sFileInMemory*>* getFilesInMem() const;

    /// Frees the bytes of every in-memory record and leaves the records empty. Only for archives whose buffers
    /// nobody else holds, such as one that was read. Frees a buffer that two records share twice: a caller
    /// that made such records must not call it.
    void releaseBuffers();

protected:
    /// Sets compression and format of the new write handle `a`. Returns libarchive's result for the format.
    virtual int xSetWriteFormat(archive* a) = 0;

    /// Writes all files on disk, then all files in memory, into the opened handle `a`; then closes and frees
    /// it. Returns 0. Throws BexException when an in-memory entry cannot be written and when the archive is
    /// not complete. After a throw the handle is still open and the caller's to free.
    ///
    /// A file on disk that does not exist, or that the format cannot hold, is skipped without an error. A
    /// regular file that this process cannot open for reading and writing becomes zeros of the same size. Of
    /// other types only the header is written. In-memory entries are regular files of mode 0600; their time is
    /// the local wall-clock time, counted as UTC.
    virtual int writeFilesToArchive(archive* a);

    /// Appends a record for every entry of the opened read handle `a`; then closes and frees it. Returns the
    /// result of freeing it. A header that cannot be read ends the archive without an error.
    ///
    /// Throws BexException when contents cannot be read: the records before them stay in the list, and the
    /// handle is still open and the caller's to free. No size in the archive is trusted: buffers grow with the
    /// bytes that the source has delivered, up to the most that gzip can make of them. Holes of sparse entries
    /// become zeros. Names are read as UTF-8, whatever locale the program has set.
    int loadArchive(archive* a);

    /// Reads like loadArchive(a) from a source whose entries together hold at most `limitBytes` bytes. An entry
    /// that claims more is contents that cannot be read; nothing is allocated for it.
    int loadArchive(archive* a, unsigned long long limitBytes);

    /// Moves all in-memory records, in order, to the end of `files`. The owner of that list then owns them and
    /// their buffers. Avoids the copies of getFilesInMem().
    void moveFilesInMemTo(std::list<sFileInMemory*>& files);

private:
    std::list<const FileOnDisk*> filesOnDisk_;
    std::list<sFileInMemory*> filesInMemory_;
};

}  // namespace bex

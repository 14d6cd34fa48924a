#pragma once

#include <list>
#include <string>

#include "bex/Export.hpp"

struct archive;
struct FileOnDisk;

namespace bex {

struct sFileInMemory;

/// Files on disk and in memory that make up one archive. Writes them to a file or into memory, and holds what
/// was read from an existing archive. A subclass chooses the format and how an archive is opened for reading.
///
/// Whole archives and whole entries are held in memory; files on disk are streamed while they are written.
/// Writing changes neither list, so an archive can be written again. Used by one thread at a time.
class BEX_EXPORT Archive {
public:
    Archive();
    Archive(const Archive&) = delete;
    Archive& operator=(const Archive&) = delete;

    /// Deletes every in-memory record, each once, but not its byte buffer. Meant: buffers pass between
    /// archives and packages, so whoever holds them frees them (see releaseBuffers()). Deletes no FileOnDisk.
    virtual ~Archive();

    /// Does nothing: files come as FileOnDisk records.
    virtual void add(std::list<std::string>& paths);

    /// Lists a file on disk. The record stays the caller's and must outlive the archive.
    virtual void add(const FileOnDisk* file);

    /// Takes the record over, not its bytes: it is deleted with this archive. Not null.
    virtual void add(sFileInMemory* file);

    /// Adds each record in order; the list stays as it is.
    virtual void add(std::list<sFileInMemory*>& files);

    /// Writes the archive to the file `path`, over what is there. Returns 0. Throws BexException when the file
    /// cannot be opened, when an in-memory entry cannot be written and when the bytes do not reach the file.
    /// A regular file that was opened and not written whole is removed.
    virtual int writeArchiveInFile(const std::string& path);

    /// Writes the archive into memory: a new record called `name`, which belongs to the caller with its
    /// buffer. The buffer has 200 bytes, plus 200 and its length for each file, and never grows; an archive
    /// that does not fit is a BexException, as is an in-memory entry that cannot be written.
    virtual sFileInMemory* writeArchiveInMemory(const std::string& name);

    /// Prints both lists to standard output, under a heading each. In-memory files show the address of their
    /// record and their name.
    virtual void printFiles() const;

    /// The list itself; lives as long as the archive.
    const std::list<const FileOnDisk*>& getFilesOnDisk() const;

    /// The in-memory record with exactly this name, the last one if there are several, or null. The record
    /// stays the archive's. Takes time linear in the number of records.
    sFileInMemory* getFileInMemory(const std::string& name) const;

    /// Deep copies of all in-memory records in order. The list, the records and their buffers are the caller's.
    std::list<sFileInMemory*>* getFilesInMem() const;

    /// Frees the bytes of every in-memory record and leaves the records empty. For an archive whose buffers
    /// nobody else holds, such as one that was read; call it at most once for a buffer, before destruction.
    void releaseBuffers();

protected:
    /// Sets compression and format of the new write handle `a`. Returns libarchive's result for the format.
    virtual int xSetWriteFormat(archive* a) = 0;

    /// Writes all files on disk, then all in memory, into the opened handle `a`, and closes and frees it in
    /// every case. Returns 0.
    ///
    /// A file on disk that is gone, or that the format cannot hold, is silently left out. One that this
    /// process may not open for reading and writing becomes zeros of its size; what is neither file nor
    /// directory gets a header only. In-memory entries are regular files of mode 0600, stamped with
    /// the local wall-clock time counted as UTC. Throws BexException for an in-memory entry that cannot be
    /// written, and when the archive did not come out whole.
    virtual int writeFilesToArchive(archive* a);

    /// Appends a record for every entry of the opened read handle `a`, and closes and frees it in every case.
    /// Returns the result of freeing it. A header that cannot be read ends the archive without a word.
    ///
    /// Throws BexException for contents that cannot be read; the records before it stay in the list. No size
    /// is believed: without a limit the buffers follow what the source has given so far, at the most that
    /// gzip can make of it. Names are read under a UTF-8 character type whatever the program's locale.
    int loadArchive(archive* a);

    /// The same for a source that can hold no more than `limitBytes` bytes of all entries together; an entry
    /// that claims more is a failed read, before anything is allocated for it.
    int loadArchive(archive* a, unsigned long long limitBytes);

    /// Moves all in-memory records, in order, to the end of `files`: from then on they and their buffers
    /// belong to whoever owns that list, and this archive has none. Spares the copies of getFilesInMem().
    void moveFilesInMemTo(std::list<sFileInMemory*>& files);

private:
    std::list<const FileOnDisk*> filesOnDisk_;
    std::list<sFileInMemory*> filesInMemory_;
};

}  // namespace bex

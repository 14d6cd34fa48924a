#pragma once

#include <iosfwd>
#include <list>
#include <map>
#include <string>

#include "bex/Export.hpp"
#include "bex/PackageManager.hpp"

struct FileOnDisk;

namespace bex {

struct sFileInMemory;

/// A Debian-style package: an ar archive of "debian-binary", "control.tar.gz" and "data.tar.gz" (deb(5)).
/// PackageManager says what its operations promise; here stands what this class adds.
///
/// The object deletes none of the records that it lists, neither FileOnDisk nor sFileInMemory, and copies
/// share them with their source. What open() loads is listed in new records with buffers of their own, which
/// the caller frees (through getFilesInMemory()) unless close() is called, and whose buffers it frees in any
/// case. FileOnDisk records are the caller's to delete when no package or copy lists them any more.
class BEX_EXPORT ZRBex : public PackageManager {
public:
    ZRBex();

    /// Copies path, extension, names and fields, and lists the same records as `other`.
    ZRBex(const ZRBex& other);
    ZRBex& operator=(const ZRBex&) = delete;
    ~ZRBex() override;

    PackageManager* clone() const override;

    void open(std::ostream& out) override;
    void open(const std::string& path) override;

    void add(const std::string& src, const std::string& dst) override;
    void add(const MemoryMappedFile& file) override;
    void add(const std::list<std::string>& paths) override;
    void add(const std::list<MemoryMappedFile*>& files) override;

    /// Lists an in-memory file under its own name, even when the package already has that name. The record
    /// (not null) is kept, not copied: it has to live until close(), which deletes it, or until the object is
    /// no longer used. The buffer stays the caller's to free after close().
    void add(sFileInMemory* file);

    /// Adds each record in order; the list stays as it is.
    void add(std::list<sFileInMemory*>& files);

    void setPackageName(const std::string& value) override;
    void setMaintainer(const std::string& value) override;
    void setArchitecture(const std::string& value) override;
    void setDescription(const std::string& value) override;
    void setSection(const std::string& value) override;
    void setPriority(const std::string& value) override;
    void setEssential(const std::string& value) override;
    void setVersion(const std::string& value) override;

    const std::list<std::string>& getFiles() const override;
    void close() override;
    void extract(const std::string& destination, const std::string& topReplacement) override;
    const std::string& getExtension() const override;
    void printFiles() const override;
    void printInfo() const override;

    /// Whether a file on disk or in memory has exactly this package path; directories end in "/". Paths are
    /// compared byte for byte, in time linear in the number of entries.
    bool isFileInArchive(const std::string& name) const;

    /// Whether the file begins with "<!arch>\n". Throws BexException when it cannot be opened.
    /// Meant: that is not ar's own signature "!<arch>\n", so packages of this library are not "valid".
    static bool isValid(const std::string& path);

    /// Always false; reads nothing.
    bool isValid(const std::istream& in) const;

    /// The lists and fields themselves; they live as long as the object. After close(), getFilesInMemory()
    /// holds pointers to records that are gone.
    const std::string& getFilename() const;
    const std::list<FileOnDisk*>& getFilesOnDisk() const;
    const std::list<sFileInMemory*>& getFilesInMemory() const;

    /// Control fields by name, in the byte-wise order in which the control file has them.
    const std::map<std::string, std::string>& getMetaData() const;

private:
    void xCheckMandatoryFields() const;
    bool xCheckEssentialFormat(const std::string& value) const;
    bool xCheckMaintainerFormat(const std::string& value) const;

    /// Both return a new record with a new buffer, the caller's to release.
    sFileInMemory* xWriteControlFileInMemory() const;
    sFileInMemory* xCreateDebianBinaryFile() const;

    /// Sets the fields that the unread text of `in` gives, and checks that the mandatory ones are there.
    void xParseControlFile(std::stringstream* in);
    void xLoadBexFile(const std::string& path);

    static const std::string magicNumber_;

    std::list<std::string> files_;
    std::list<FileOnDisk*> filesOnDisk_;
    std::list<sFileInMemory*> filesInMemory_;
    std::map<std::string, std::string> metaData_;
    std::string filename_;
    std::string extension_;
};

}  // namespace bex

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
/// PackageManager describes the inherited operations; this header describes what the class adds.
///
/// The object deletes none of the records that it lists, neither FileOnDisk nor sFileInMemory. Copies list the
/// same records. open() makes a new record with a new buffer for each entry that it loads. The caller owns
/// these (see getFilesInMemory()): it always frees the buffers, and deletes the records unless close() has done
/// so. The caller deletes FileOnDisk records when no package or copy lists them any more.
class BEX_EXPORT ZRBex : public PackageManager {
public:
    ZRBex();

    /// Copies path, extension, names and fields in this order, and lists the same records as `other`. Asks the
    /// virtual getExtension() and getFiles() of `other`.
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

    /// Lists an in-memory file under its own name, even when the package already has that name. Keeps the
    /// pointer (not null), not a copy: the record must live until close() deletes it or until the object is no
    /// longer used. The caller frees the buffer after that.
    void add(sFileInMemory* file);

    /// Adds each record in order; does not change the list.
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

    /// Returns whether a file on disk or in memory has exactly this package path; directories end in "/".
    /// Compares byte for byte, in time linear in the number of entries.
    bool isFileInArchive(const std::string& name);

    /// Returns whether the file begins with "<!arch>\n". Throws BexException when it cannot be opened.
    /// Meant: ar's own signature is "!<arch>\n", so the packages of this library are not "valid".
    static bool isValid(const std::string& path);

    /// Always returns false; reads nothing.
    bool isValid(const std::istream& in);

    /// These return the lists and fields themselves, which live as long as the object. After close(), the
    /// pointers in getFilesInMemory() are dangling.
    const std::string& getFilename() const;
    const std::list<FileOnDisk*>& getFilesOnDisk() const;
    const std::list<sFileInMemory*>& getFilesInMemory() const;

    /// Returns the control fields by name, in the byte order of the control file.
    const std::map<std::string, std::string>& getMetaData() const;

private:
    void xCheckMandatoryFields();
    bool xCheckEssentialFormat(const std::string& value);
    bool xCheckMaintainerFormat(const std::string& value);

    /// Both return a new record with a new buffer, which the caller owns.
    sFileInMemory* xWriteControlFileInMemory();
    sFileInMemory* xCreateDebianBinaryFile() const;

    /// Sets the fields in the unread text of `in`, and checks that the mandatory ones are set.
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

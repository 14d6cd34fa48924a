#pragma once

#include <sys/types.h>

#include <ctime>
#include <iostream>
#include <list>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Archives.hpp"
#include "Failure.hpp"
#include "Shell.hpp"
#include "TemporaryDirectory.hpp"
#include "bex/ArArchive.hpp"
#include "bex/MemoryMappedFile.hpp"
#include "bex/TarGzArchive.hpp"
#include "bex/ZRBex.hpp"

namespace bex::test {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;
using Contents = std::vector<std::pair<std::string, std::string>>;  ///< names and bytes of files, in order

/// An entry as libarchive itself reads it.
struct Entry {
    std::string name;
    std::string bytes;
    mode_t mode = 0;
    long uid = 0;
    std::time_t mtime = 0;
};
/// All entries of an ar or tar.gz archive's bytes; throws when libarchive complains of anything.
std::vector<Entry> entriesOf(const std::string& archive);
Contents contentsOf(const std::string& archive);
/// The bytes of one member of the package file `path`.
std::string memberOf(const std::string& path, const std::string& member);

std::string gzip(const std::string& bytes);
/// A tar header, with `size` as its raw size field unless that is empty, and the padded data.
std::string tarEntry(const std::string& name, const std::string& bytes, char type = '0',
                     const std::string& size = "");
std::string tarGz(const std::string& entries);
/// A member of an ar file; its size field lies when it is not empty.
struct Member {
    std::string name;
    std::string bytes;
    std::string size;
};
std::string arFile(const std::vector<Member>& members);
/// The fewest fields that load, and a package with them and this payload of tar entries.
inline const std::string kControl = "Description: d\nPackage: p\nVersion: 1\n";
std::string packageFile(const std::string& entries, const std::string& control = kControl);

/// A record with a buffer, both of which somebody else has to release.
sFileInMemory* newRecord(const std::string& name, const std::string& bytes);

/// A package object that releases the records and buffers which its ownership rules leave to the caller.
class Package : public ZRBex {
public:
    Package() = default;
    explicit Package(const std::string& path) : Package() { open(path); }
    ~Package() override;

    void close() override;
    Package& with(const std::string& name, const std::string& bytes);
    Package& withFields();
    Contents payload() const;

private:
    std::vector<std::unique_ptr<char[]>> buffers_;
    bool handedOver_ = false;  ///< the payload's records are gone once a close gets as far as the payload
};

/// An archive to be written, with all that must outlive it.
template <typename Kind>
struct Filled {
    std::list<FileOnDisk> disk;
    Kind archive;

    ~Filled() { archive.releaseBuffers(); }
    Filled& with(const std::string& name, const std::string& bytes) {
        archive.add(newRecord(name, bytes));
        return *this;
    }
    Filled& withDisk(const std::string& path, const std::string& name) {
        archive.add(&disk.emplace_back(FileOnDisk{path, name}));
        return *this;
    }
    /// What writeArchiveInMemory() gives.
    std::string written() {
        const std::unique_ptr<sFileInMemory> record(archive.writeArchiveInMemory("x.tar.gz"));
        const std::unique_ptr<char[]> buffer(record->bytes_);
        return {record->bytes_, record->size_};
    }
};

/// An archive's contents by its own copies, and what reading gives.
Contents copiesOf(const Archive& archive);
Contents loadedAr(const std::string& path);
Contents loadedTarGz(const std::string& bytes);

/// Collects standard output as long as it lives.
class CapturedOutput {
public:
    CapturedOutput() : before_(std::cout.rdbuf(text_.rdbuf())) {}
    ~CapturedOutput() { std::cout.rdbuf(before_); }
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;
    std::string text() const { return text_.str(); }

private:
    std::ostringstream text_;
    std::streambuf* before_;
};

}  // namespace bex::test

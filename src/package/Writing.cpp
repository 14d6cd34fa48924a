#include <iostream>
#include <utility>

#include "archive/BufferRelease.hpp"
#include "archive/OwnedFiles.hpp"
#include "bex/ArArchive.hpp"
#include "bex/BexException.hpp"
#include "bex/TarGzArchive.hpp"
#include "bex/ZRBex.hpp"

namespace bex {
namespace {

/// Gives a record to the archive, which deletes it but not its buffer.
void handOver(Archive& archive, OwnedFile file) {
    archive.add(file.get());
    file.release();
}

}  // namespace

void ZRBex::close() {
    if (filename_.empty()) {
        throw BexException("No filename specified. Can't write archive to disk.");
    }
    if (filesOnDisk_.empty() && filesInMemory_.empty()) {
        throw BexException("Empty archives are not allowed. Please add some files.");
    }
    OwnedFile version(xCreateDebianBinaryFile());
    xCheckMandatoryFields();

    TarGzArchive control;
    const BufferRelease controlBytes(control);
    handOver(control, OwnedFile(xWriteControlFileInMemory()));
    OwnedFile controlMember(control.writeArchiveInMemory("control.tar.gz"));

    // This archive deletes the package's records, even when a step below throws. It has no BufferRelease: the
    // buffers are the caller's.
    TarGzArchive payload;
    for (const FileOnDisk* file : filesOnDisk_) {
        payload.add(file);
    }
    payload.add(filesInMemory_);
    OwnedFile payloadMember(payload.writeArchiveInMemory("data.tar.gz"));

    ArArchive package;
    const BufferRelease memberBytes(package);
    handOver(package, std::move(version));
    handOver(package, std::move(controlMember));
    handOver(package, std::move(payloadMember));
    package.writeArchiveInFile(filename_);  // The result is not checked: it is 0.
    std::cout << "Archive " << filename_ << " has been created." << std::endl;
}

sFileInMemory* ZRBex::xCreateDebianBinaryFile() const {
    const char text[] = "2.0\n";  // The terminating zero is in the buffer, not in the member.
    OwnedFile file = newFile("debian-binary", text, sizeof text);
    file->size_ = sizeof text - 1;
    return file.release();
}

}  // namespace bex

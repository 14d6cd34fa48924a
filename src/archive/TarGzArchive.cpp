#include "bex/TarGzArchive.hpp"

#include <new>

#include "archive/BufferRelease.hpp"
#include "archive/EntryReader.hpp"
#include "archive/Handles.hpp"
#include "bex/BexException.hpp"

namespace bex {
namespace {

int expectTarGz(archive* a) {
    archive_read_support_filter_gzip(a);  // The result is not checked: without it the open or a header fails.
    return archive_read_support_format_tar(a);
}

}  // namespace

TarGzArchive::TarGzArchive() = default;

TarGzArchive::TarGzArchive(const sFileInMemory* file) {
    Reader handle = newReader();
    expectTarGz(handle.get());  // The result is not checked: without the format the open fails.
    if (archive_read_open_memory(handle.get(), file->bytes_, file->size_) != ARCHIVE_OK) {
        throw BexException("TarGzArchive::TarGzArchive: can't open " + file->name_ + " archive.");
    }
    BufferRelease onFailure(*this);
    // The result of freeing is not checked: all entries have been read by then.
    loadArchive(handle.get(), expandedLimit(file->size_));
    handle.release();  // loadArchive() has freed it.
    onFailure.keep();
}

TarGzArchive::~TarGzArchive() = default;

int TarGzArchive::xSetWriteFormat(archive* a) {
    if (archive_write_add_filter_gzip(a) != ARCHIVE_OK) {
        // Memory is all that it can lack. Without the filter the archive would be written uncompressed.
        throw std::bad_alloc();
    }
    return archive_write_set_format_ustar(a);
}

int TarGzArchive::xSetReadFormat(archive* a) {
    return expectTarGz(a);
}

}  // namespace bex

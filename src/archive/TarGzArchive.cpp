#include "bex/TarGzArchive.hpp"

#include <new>

#include "archive/BufferRelease.hpp"
#include "archive/EntryReader.hpp"
#include "archive/Handles.hpp"
#include "bex/BexException.hpp"

namespace bex {
namespace {

int expectTarGz(archive* a) {
    archive_read_support_filter_gzip(a);  // not tested: without the filter the open or a header fails
    return archive_read_support_format_tar(a);
}

}  // namespace

TarGzArchive::TarGzArchive() = default;

TarGzArchive::TarGzArchive(const sFileInMemory* file) {
    Reader handle = newReader();
    expectTarGz(handle.get());  // not tested: without the format the open fails
    if (archive_read_open_memory(handle.get(), file->bytes_, file->size_) != ARCHIVE_OK) {
        throw BexException("TarGzArchive::TarGzArchive: can't open " + file->name_ + " archive.");
    }
    BufferRelease onFailure(*this);
    // The result of freeing is not tested: all entries are read by then.
    loadArchive(handle.release(), expandedLimit(file->size_));
    onFailure.keep();
}

TarGzArchive::~TarGzArchive() = default;

int TarGzArchive::xSetWriteFormat(archive* a) {
    if (archive_write_add_filter_gzip(a) != ARCHIVE_OK) {
        throw std::bad_alloc();  // nothing else goes wrong there, and what followed would not be compressed
    }
    return archive_write_set_format_ustar(a);
}

int TarGzArchive::xSetReadFormat(archive* a) {
    return expectTarGz(a);
}

}  // namespace bex

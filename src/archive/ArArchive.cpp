#include "bex/ArArchive.hpp"

#include <boost/filesystem.hpp>

#include "archive/BufferRelease.hpp"
#include "archive/Handles.hpp"
#include "bex/BexException.hpp"

namespace bex {
namespace {

// Meant: a small request. libarchive reads larger blocks from regular files anyway.
constexpr std::size_t kReadBlockBytes = 10;

int expectAr(archive* a) {
    archive_read_support_filter_none(a);  // The result is not checked: it cannot fail.
    return archive_read_support_format_ar(a);
}

}  // namespace

ArArchive::ArArchive() = default;

ArArchive::ArArchive(std::string path) {
    Reader handle = newReader();
    expectAr(handle.get());  // The result is not checked: without the format the open fails.
    if (archive_read_open_filename(handle.get(), path.c_str(), kReadBlockBytes) != ARCHIVE_OK) {
        throw BexException("ArArchive::ArArchive (" + path + "): impossible to open " + path + " file.");
    }
    BufferRelease onFailure(*this);
    boost::system::error_code noLength;
    const auto length = boost::filesystem::file_size(path, noLength);
    // The results of freeing are not checked: all entries have been read by then.
    if (noLength) {
        loadArchive(handle.get());  // A pipe has no length: the buffers grow with what it delivers.
    } else {
        loadArchive(handle.get(), length);
    }
    handle.release();  // loadArchive() has freed it.
    onFailure.keep();
}

ArArchive::~ArArchive() = default;

int ArArchive::xSetWriteFormat(archive* a) {
    archive_write_add_filter_none(a);  // The result is not checked: it cannot fail.
    return archive_write_set_format_ar_svr4(a);
}

int ArArchive::xSetReadFormat(archive* a) {
    return expectAr(a);
}

}  // namespace bex

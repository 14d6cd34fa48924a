#include "bex/ArArchive.hpp"

#include <boost/filesystem.hpp>

#include "archive/BufferRelease.hpp"
#include "archive/Handles.hpp"
#include "bex/BexException.hpp"

namespace bex {
namespace {

// Meant: a small request. For regular files libarchive reads larger blocks all the same.
constexpr std::size_t readBlockBytes = 10;

int expectAr(archive* a) {
    archive_read_support_filter_none(a);  // not tested: it can't fail
    return archive_read_support_format_ar(a);
}

}  // namespace

ArArchive::ArArchive() = default;

ArArchive::ArArchive(std::string path) {
    Reader handle = newReader();
    expectAr(handle.get());  // not tested: without the format the open fails
    if (archive_read_open_filename(handle.get(), path.c_str(), readBlockBytes) != ARCHIVE_OK) {
        throw BexException("ArArchive::ArArchive (" + path + "): impossible to open " + path + " file.");
    }
    BufferRelease onFailure(*this);
    boost::system::error_code noLength;
    const auto length = boost::filesystem::file_size(path, noLength);
    // The results of freeing are not tested: all entries are read by then.
    if (noLength) {
        loadArchive(handle.release());
    } else {
        loadArchive(handle.release(), length);
    }
    onFailure.keep();
}

ArArchive::~ArArchive() = default;

int ArArchive::xSetWriteFormat(archive* a) {
    archive_write_add_filter_none(a);  // not tested: it can't fail
    return archive_write_set_format_ar_svr4(a);
}

int ArArchive::xSetReadFormat(archive* a) {
    return expectAr(a);
}

}  // namespace bex

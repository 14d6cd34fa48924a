#include "stream/tar/TarWriter.hpp"

#include <archive.h>
#include <archive_entry.h>

#include <cerrno>
#include <new>

#include "stream/base/Place.hpp"

namespace bex::stream {

void TarWriter::FreeArchive::operator()(archive* a) const noexcept {
    archive_write_free(a);
}

void TarWriter::FreeEntry::operator()(archive_entry* e) const noexcept {
    archive_entry_free(e);
}

TarWriter::TarWriter(Sink& out) : out_(out), entry_(archive_entry_new()), archive_(archive_write_new()) {
    if (!entry_ || !archive_) {
        throw std::bad_alloc();
    }
    // Blocks of no size: libarchive hands on what it is given instead of collecting it in a buffer of its own.
    if (archive_write_set_format_gnutar(archive_.get()) != ARCHIVE_OK ||
        archive_write_set_bytes_per_block(archive_.get(), 0) != ARCHIVE_OK ||
        archive_write_open(archive_.get(), this, nullptr, &TarWriter::writeOut, nullptr) != ARCHIVE_OK) {
        throw std::bad_alloc();  // nothing else is wanted yet, and the reason is not always told
    }
}

TarWriter::~TarWriter() {
    // Freeing an archive that was not closed fills up the last file and writes the end: a cut archive must not
    // look whole.
    ended_ = true;
}

/// libarchive's callback. No exception may pass through its code, so it waits here until the call is back.
/// libarchive is never told of it: it does not release all it has once a write failed.
ssize_t TarWriter::writeOut(archive* /*unused*/, void* self, const void* data, std::size_t size) {
    auto& encoder = *static_cast<TarWriter*>(self);
    if (!encoder.ended_) {
        try {
            encoder.out_.write(static_cast<const char*>(data), size);
        } catch (...) {
            encoder.sinkFailure_ = std::current_exception();
            encoder.ended_ = true;
        }
    }
    return static_cast<ssize_t>(size);
}

void TarWriter::begin(const Entry& entry) {
    requireContentIsComplete();
    path_ = entry.path;
    fill(entry);
    // A warning would mean that something was cut or left out.
    require(archive_write_header(archive_.get(), entry_.get()) == ARCHIVE_OK);
    missing_ = entry.type == EntryType::file ? entry.size : 0;
}

void TarWriter::fill(const Entry& entry) {
    archive_entry* e = archive_entry_clear(entry_.get());
    archive_entry_copy_pathname(e, entry.path.c_str());
    archive_entry_set_filetype(e, AE_IFREG);
    archive_entry_set_size(e, 0);
    switch (entry.type) {
        case EntryType::file:
            archive_entry_set_size(e, static_cast<la_int64_t>(entry.size));
            break;
        case EntryType::hardlink:
            archive_entry_copy_hardlink(e, entry.linkTarget.c_str());
            break;
        case EntryType::symlink:
            archive_entry_set_filetype(e, AE_IFLNK);
            archive_entry_copy_symlink(e, entry.linkTarget.c_str());
            break;
        case EntryType::directory:
            archive_entry_set_filetype(e, AE_IFDIR);
            break;
        default:
            throw invalidInput(entry.path, "is of a type that a package can't hold");
    }
    archive_entry_set_perm(e, entry.mode);
    archive_entry_set_mtime(e, entry.mtime, 0);
    archive_entry_set_uid(e, static_cast<la_int64_t>(entry.uid));
    archive_entry_set_gid(e, static_cast<la_int64_t>(entry.gid));
    archive_entry_copy_uname(e, entry.owner.c_str());
    archive_entry_copy_gname(e, entry.group.c_str());
}

void TarWriter::write(const char* data, std::size_t size) {
    if (size > missing_) {
        Place(path_).fail(ErrorKind::inputOutput, codeOf(ErrorKind::inputOutput),
                          "has more content than was said");
    }
    if (size > 0) {
        require(archive_write_data(archive_.get(), data, size) == static_cast<la_ssize_t>(size));
        missing_ -= size;
    }
}

void TarWriter::requireContentIsComplete() const {
    if (missing_ != 0) {  // libarchive would fill up with zeros without a word
        Place(path_).fail(ErrorKind::inputOutput, codeOf(ErrorKind::inputOutput),
                          "has less content than was said");
    }
}

void TarWriter::finish() {
    requireContentIsComplete();
    require(archive_write_close(archive_.get()) == ARCHIVE_OK);
}

void TarWriter::require(bool succeeded) const {
    if (sinkFailure_) {
        std::rethrow_exception(sinkFailure_);
    }
    if (!succeeded && archive_errno(archive_.get()) == ENOMEM) {
        throw std::bad_alloc();
    }
    if (!succeeded) {
        const char* reason = archive_error_string(archive_.get());
        throw invalidInput(path_, std::string("can't be stored in a tar archive: ") +
                                      (reason != nullptr ? reason : "unknown error"));
    }
}

}  // namespace bex::stream

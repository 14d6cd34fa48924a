#pragma once

#include <archive.h>
#include <archive_entry.h>

#include <memory>
#include <new>

namespace bex {

/// Closes and frees the write handle of an archive that was not completed. Ignores both results: the failure
/// that led here is the one to report.
struct AbandonWriter {
    void operator()(archive* a) const noexcept {
        archive_write_close(a);  // Freeing alone leaves the file of a dead handle open.
        archive_write_free(a);
    }
};

struct FreeReader {
    void operator()(archive* a) const noexcept {
        archive_read_close(a);  // As above.
        archive_read_free(a);
    }
};

struct FreeEntry {
    void operator()(archive_entry* entry) const noexcept { archive_entry_free(entry); }
};

using Writer = std::unique_ptr<archive, AbandonWriter>;
using Reader = std::unique_ptr<archive, FreeReader>;
using Entry = std::unique_ptr<archive_entry, FreeEntry>;

/// Returns `handle`. libarchive's constructors return null only when memory is exhausted.
template <class Handle>
Handle allocated(Handle handle) {
    if (!handle) {
        throw std::bad_alloc();
    }
    return handle;
}

inline Writer newWriter() {
    return allocated(Writer(archive_write_new()));
}
inline Reader newReader() {
    return allocated(Reader(archive_read_new()));
}
inline Entry newEntry() {
    return allocated(Entry(archive_entry_new()));
}

}  // namespace bex

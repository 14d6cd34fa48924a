#pragma once

#include <archive.h>
#include <archive_entry.h>

#include <exception>
#include <memory>

#include "bex/stream/Entry.hpp"
#include "stream/tar/TarFraming.hpp"

namespace bex::stream {

/// Reads a tar archive entry by entry. Headers are read twice, by TarFraming and by libarchive, and have to mean
/// the same to both. Any failure is thrown; the reader then only accepts destruction.
/// libarchive counts inode numbers in statics that readers in several threads share; nobody looks at these
/// numbers.
class TarReader {
public:
    /// A run of an entry's contents; what lies between two runs is a hole.
    struct Run {
        std::string_view bytes;
        std::uint64_t offset = 0;
    };

    /// `bytes` must outlive this.
    TarReader(Decompressor& bytes, const Limits& limits, Place place);
    TarReader(const TarReader&) = delete;  // libarchive holds its address
    TarReader& operator=(const TarReader&) = delete;

    /// Goes to the next entry, passing over what is left of the current one; false when there is none.
    bool next(Entry& entry);

    /// The next bytes of the current entry's contents, in order, valid until the next call of any kind; false at
    /// their end.
    bool nextRun(Run& run);

private:
    struct FreeReader {
        void operator()(archive* a) const noexcept { archive_read_free(a); }
    };
    struct FreeEntry {
        void operator()(archive_entry* e) const noexcept { archive_entry_free(e); }
    };

    static la_ssize_t giveBytes(archive* a, void* self, const void** buffer);
    static la_int64_t skipBytes(archive* a, void* self, la_int64_t size);

    void open();
    void passOver();
    void describe(archive_entry* decoded, Entry& entry) const;
    void compare(archive_entry* decoded, const Entry& entry) const;
    /// Throws what a callback left behind, or what libarchive says.
    [[noreturn]] void fail(const std::string& path);

    TarFraming framing_;
    Place place_;
    std::exception_ptr failure_;  // exceptions must not pass through C
    std::unique_ptr<archive, FreeReader> reader_;
    std::unique_ptr<archive_entry, FreeEntry> decoded_;  // the current entry as libarchive reads it
    std::string path_;
    std::uint64_t size_ = 0;      // of the current entry's contents
    std::uint64_t position_ = 0;  // in them
    std::uint64_t stored_ = 0;    // bytes of the runs before that
    std::uint64_t mapped_ = 0;    // what a sparse map claims of them
    bool sparse_ = false;
};

}  // namespace bex::stream

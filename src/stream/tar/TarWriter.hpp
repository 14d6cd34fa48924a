#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "bex/stream/Entry.hpp"
#include "bex/stream/Sink.hpp"

struct archive;
struct archive_entry;

namespace bex::stream {

/// Makes a tar archive of entries: ustar, and beyond its limits GNU tar's extensions (long names and link
/// targets, numbers in base 256), because dpkg reads no pax headers. Names go in byte for byte. The archive ends
/// with two blocks of zeros and is not filled up further.
class TarWriter {
public:
    /// `out` must outlive this.
    explicit TarWriter(Sink& out);
    /// Without finish() nothing more is written.
    ~TarWriter();
    TarWriter(const TarWriter&) = delete;
    TarWriter& operator=(const TarWriter&) = delete;

    /// Begins an entry: a file, whose `size` bytes of content must follow, a directory, a symlink or a hard link.
    /// Throws StreamError (`invalidInput`) naming the entry when tar has no place for what it says; what `out`
    /// throws.
    void begin(const Entry& entry);
    void write(const char* data, std::size_t size);

    /// Writes the end of the archive. Call once, last.
    void finish();

private:
    struct FreeArchive {
        void operator()(archive* a) const noexcept;
    };
    struct FreeEntry {
        void operator()(archive_entry* e) const noexcept;
    };

    static ssize_t writeOut(archive* a, void* self, const void* data, std::size_t size);
    void fill(const Entry& entry);
    void requireContentIsComplete() const;
    /// Throws what the sink threw, or why libarchive failed.
    void require(bool succeeded) const;

    Sink& out_;
    std::exception_ptr sinkFailure_;
    bool ended_ = false;         ///< nothing more goes to the sink
    std::string path_;           ///< of the current entry
    std::uint64_t missing_ = 0;  ///< bytes of its content that are still to come
    std::unique_ptr<archive_entry, FreeEntry> entry_;
    std::unique_ptr<archive, FreeArchive> archive_;
};

}  // namespace bex::stream

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "bex/stream/Entry.hpp"
#include "bex/stream/Sink.hpp"
#include "stream/tar/TarHeader.hpp"

namespace bex::stream {

/// How many bytes tarHeadersOf() gives: cheaper where only their length is wanted.
std::uint64_t tarHeaderBytesOf(const Entry& entry) noexcept;

/// The header of an entry as TarWriter writes it, after the headers and names that a long path or link target
/// needs. Throws as TarWriter::begin().
std::string tarHeadersOf(const Entry& entry);

/// The zeros that end an archive.
constexpr std::size_t kTarEndBytes = 2 * kTarBlockBytes;

/// Writes a tar archive in GNU's format, with its extensions for long names and link targets and for large
/// numbers; never pax, which dpkg does not read. Names go in byte for byte. The archive ends with two blocks of
/// zeros and is not padded further. After any exception the writer only accepts destruction.
class TarWriter {
public:
    /// `out` must outlive this.
    explicit TarWriter(Sink& out) : out_(out) {}
    TarWriter(const TarWriter&) = delete;
    TarWriter& operator=(const TarWriter&) = delete;

    /// Begins an entry: a file, whose `size` bytes of contents must follow, a directory (its path ends in "/"), a
    /// symlink or a hard link. Throws StreamError (`invalidInput`) naming an entry of another type; what `out`
    /// throws.
    void begin(const Entry& entry);
    /// Writes the next bytes of the file's contents. Throws StreamError (`inputOutput`) for more than its size.
    void write(const char* data, std::size_t size);

    /// Writes the end of the archive. Call once, last.
    void finish();

private:
    void endContents();  // fills up their last block

    Sink& out_;
    std::string path_;           ///< of the current entry
    std::uint64_t size_ = 0;     ///< of its contents
    std::uint64_t missing_ = 0;  ///< bytes of them that are still to come
};

}  // namespace bex::stream

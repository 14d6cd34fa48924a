#pragma once

#include "bex/Archive.hpp"

namespace bex {

/// A ustar archive compressed with gzip (tar(5), RFC 1952): the control and payload members of a bex package.
/// ustar cannot hold some names of more than 100 bytes, names of more than 256 bytes and numbers that exceed
/// its octal fields: such a file on disk is skipped without an error, such a file in memory is an error.
class BEX_EXPORT TarGzArchive : public Archive {
public:
    /// Makes an empty archive, to be filled and written.
    TarGzArchive();

    /// Decompresses the archive in `file` and reads every entry into memory, in order. Accepts every tar
    /// variant that libarchive knows, and uncompressed ones too. Only reads `file`, which stays the caller's.
    ///
    /// Throws BexException when the bytes, decompressed, do not begin as a tar archive does, when the contents
    /// of an entry cannot be read completely, and when an entry claims more than gzip can make of `file`. A
    /// later header that cannot be read ends the archive without an error. Call releaseBuffers() to free the
    /// bytes of the records: the destructor does not.
    TarGzArchive(const sFileInMemory* file);
    ~TarGzArchive() override;

    /// Sets up the new read handle `a` for the format that this class writes. Returns libarchive's result.
    int xSetReadFormat(archive* a);

protected:
    int xSetWriteFormat(archive* a) override;
};

}  // namespace bex

#pragma once

#include "bex/Archive.hpp"

namespace bex {

/// A ustar archive compressed with gzip (tar(5), RFC 1952): the control and payload members of a bex package.
/// Names longer than ustar's 100 + 155 characters and numbers beyond its octal fields do not fit.
class BEX_EXPORT TarGzArchive : public Archive {
public:
    /// An empty archive, to be filled and written.
    TarGzArchive();

    /// Decompresses the archive in `file` and reads every entry into memory, in order; any tar flavour that
    /// libarchive knows. `file` is only read and stays the caller's. Throws BexException when it cannot be
    /// opened, when an entry's bytes cannot be read whole and when it claims more than gzip can expand
    /// `file` to. What is not a tar archive, or no longer one from some header on, ends the reading without
    /// a word. The records' bytes are freed by releaseBuffers(), not by the destructor.
    explicit TarGzArchive(const sFileInMemory* file);
    ~TarGzArchive() override;

protected:
    int xSetWriteFormat(archive* a) override;

    /// Makes the new read handle `a` expect what this class writes. Returns libarchive's result.
    int xSetReadFormat(archive* a);
};

}  // namespace bex

#pragma once

#include <string>

#include "bex/Archive.hpp"

namespace bex {

/// An ar archive in the SVR4 variant, uncompressed (ar(5)): the container of a bex package.
class BEX_EXPORT ArArchive : public Archive {
public:
    /// Makes an empty archive, to be filled and written.
    ArArchive();

    /// Reads every member of the ar file at `path` into memory, in order.
    ///
    /// Throws BexException when the file cannot be opened, when it does not begin as an ar archive does (an
    /// empty file and a directory included), and when the contents of a member cannot be read completely. A
    /// later header that cannot be read ends the archive without an error. Call releaseBuffers() to free the
    /// bytes of the records: the destructor does not.
    ArArchive(std::string path);
    ~ArArchive() override;

    /// Sets up the new read handle `a` for the format that this class writes. Returns libarchive's result.
    int xSetReadFormat(archive* a);

protected:
    int xSetWriteFormat(archive* a) override;
};

}  // namespace bex

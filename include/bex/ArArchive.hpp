#pragma once

#include <string>

#include "bex/Archive.hpp"

namespace bex {

/// An ar archive in the SVR4 variant, uncompressed (ar(5)): the container of a bex package.
class BEX_EXPORT ArArchive : public Archive {
public:
    /// An empty archive, to be filled and written.
    ArArchive();

    /// Reads every member of the ar file at `path` into memory, in order. Throws BexException when the file
    /// cannot be opened or a member's bytes cannot be read whole. What is not an ar archive, or no longer one
    /// from some header on, ends the reading without a word. The records' bytes are freed by
    /// releaseBuffers(), not by the destructor.
    explicit ArArchive(std::string path);
    ~ArArchive() override;

protected:
    int xSetWriteFormat(archive* a) override;

    /// Makes the new read handle `a` expect what this class writes. Returns libarchive's result.
    int xSetReadFormat(archive* a);
};

}  // namespace bex

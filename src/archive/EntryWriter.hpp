#pragma once

#include "archive/Handles.hpp"

struct FileOnDisk;

namespace bex {

struct sFileInMemory;

/// Writes a file or directory on disk as one entry. What the format refuses is left out without a word.
/// Returns false when the handle can't take anything more.
bool writeFileOnDisk(archive* a, const FileOnDisk& file);

/// Writes a file held in memory as one entry, stamped with the time of the call. Throws BexException.
void writeFileInMemory(archive* a, const sFileInMemory& file);

}  // namespace bex

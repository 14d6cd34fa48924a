#pragma once

#include "archive/Handles.hpp"

struct FileOnDisk;

namespace bex {

struct sFileInMemory;

/// Writes a file or directory on disk as one entry. Skips a file that does not exist or that the format refuses,
/// without an error. Returns false when the handle is dead, so that nothing more can be written.
bool writeFileOnDisk(archive* a, const FileOnDisk& file);

/// Writes a file held in memory as one entry with the current time. Throws BexException.
void writeFileInMemory(archive* a, const sFileInMemory& file);

}  // namespace bex

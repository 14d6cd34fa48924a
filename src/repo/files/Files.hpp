#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "stream/system/System.hpp"

namespace bex::repo {

using stream::System;

/// The contents of a regular file; nothing where there is none. Throws StreamError (`inputOutput`).
std::optional<std::string> readFile(const std::string& path);

/// Makes the directory and those above it that do not exist; each is synced into the one above it.
void makeDirectories(const std::string& path, System& system);

/// Puts the bytes under the path, whole or not at all, synced.
void writeFile(const std::string& path, std::string_view bytes, System& system);

/// Gives the file `from` the second name `to`, in the place of what stands there, in one step. Both are in the
/// same file system; where it has no hard links, `to` becomes a copy. False where they are one file already.
bool linkOver(const std::string& from, const std::string& to, System& system);

/// Removes the file where it exists; false where it does not.
bool removeFile(const std::string& path, System& system);

/// The size of a regular file; nothing where there is none.
std::optional<std::uint64_t> sizeOfFile(const std::string& path);

/// Whether both paths lead to one file.
bool isSameFile(const std::string& a, const std::string& b);

/// Syncs the directory, so that the names in it are on the disk.
void syncDirectory(const std::string& path, System& system);

}  // namespace bex::repo

#pragma once

#include <string>
#include <string_view>

#include "bex/stream/Entry.hpp"

namespace bex::stream {

/// The plainPath() of a path that was given for a place in the package. Throws StreamError (`invalidInput`) for
/// ".." and for a NUL or newline: the lists that package tools keep hold one path a line.
std::string packagePath(std::string_view given);

/// The same for what is not a directory: "" and a final "/" are refused, too.
std::string packageFilePath(std::string_view given);

/// Whether a control member may have the name: it becomes a file of the control archive and, on the target, of
/// dpkg's database, where a "/" would lead elsewhere.
bool isPlainFileName(std::string_view name) noexcept;

/// A plain path as the payload stores it: "./" before it, "/" after a directory.
std::string storedPath(std::string_view plain, EntryType type);

/// Whether `path` is `directory` or stands below it; both plain.
bool isWithin(std::string_view path, std::string_view directory) noexcept;

}  // namespace bex::stream

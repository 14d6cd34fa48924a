#pragma once

#include <string>

#include "bex/stream/ControlParagraph.hpp"

namespace bex::tool {

/// The path of the package to write; "" for standard output. `out` is a path, a directory, "-" or "", in which
/// {name}, {version} and {arch} stand for the fields' values, the version without its epoch, as in the names of
/// Debian's archive. Without a file name in `out` the package is called NAME_VERSION_ARCHITECTURE.SUFFIX.
/// Throws UsageError for another word in braces and for a suffix that is not a plain word.
std::string targetPath(const std::string& out, const std::string& suffix, const stream::ControlParagraph& control);

}  // namespace bex::tool

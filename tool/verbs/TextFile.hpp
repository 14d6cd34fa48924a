#pragma once

#include <string>

#include "bex/stream/StreamError.hpp"

namespace bex::tool {

/// The error "PATH: REASON" about a file that cannot be used (`inputOutput`).
stream::StreamError unusable(const std::string& path, const std::string& reason);

/// The whole file, or what comes out of a pipe. Throws StreamError (`inputOutput`).
std::string readFile(const std::string& path);

/// Writes a file that is not there yet; one that cannot be written to its end is removed. Throws StreamError
/// (`inputOutput`), also where the file is there already.
void writeNewFile(const std::string& path, const std::string& text);

/// Writes a file, which keeps its old contents until the new ones are complete. Throws StreamError
/// (`inputOutput`).
void replaceFile(const std::string& path, const std::string& text);

}  // namespace bex::tool

#pragma once

#include <string>

#include "bex/stream/StreamError.hpp"
#include "output/Context.hpp"

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

/// A file that a verb makes: its key in JSON output, its path, where "-" is standard output, and its text.
struct MadeFile {
    const char* key;
    const std::string& path;
    const std::string& text;
};

/// Prints the text for the path "-"; else calls `write` with path and text, and prints the path.
void deliver(const MadeFile& file, void (*write)(const std::string& path, const std::string& text),
             Context& context);

}  // namespace bex::tool

#pragma once

#include <string>

namespace bex::repo {

/// The SHA-256 of an open file, from its beginning; its position is neither used nor moved. Throws StreamError
/// (`inputOutput`); messages call the file `name`.
std::string sha256OfFile(int descriptor, const std::string& name);

}  // namespace bex::repo

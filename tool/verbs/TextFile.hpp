#pragma once

#include <string>

#include "bex/stream/StreamError.hpp"

namespace bex::tool {

/// The error "PATH: REASON" about a file that cannot be used (`inputOutput`).
stream::StreamError unusable(const std::string& path, const std::string& reason);

/// The whole file, or what comes out of a pipe. Throws StreamError (`inputOutput`).
std::string readFile(const std::string& path);

}  // namespace bex::tool

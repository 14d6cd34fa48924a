#pragma once

#include <string>

namespace bex::stream {

/// Whether a plain path matches a glob(7) pattern; "*" and "?" match "/" too. Byte by byte in every locale, so
/// that equal input makes equal packages.
bool matchesPattern(const std::string& pattern, const std::string& path);

}  // namespace bex::stream

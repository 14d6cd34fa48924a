#pragma once

#include <string>
#include <vector>

#include "buildfile/model/Document.hpp"

namespace bex::buildfile {

/// The lines of `contents` that are for Debian packages. What is for others is appended to `skipped`, with its
/// line. Throws StreamError (`invalidInput`) at the line's place.
std::vector<Content> readContents(const Document& document, std::vector<std::string>& skipped);

}  // namespace bex::buildfile

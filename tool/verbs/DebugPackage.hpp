#pragma once

#include <string>

#include "bex/stream/PackageWriter.hpp"
#include "verbs/Strip.hpp"

namespace bex::tool {

/// Fills a package NAME-dbgsym with the debugging information of a package's files, as debhelper(7) makes it.
void fillDebugPackage(const stream::ControlParagraph& control, const StrippedFiles& stripped,
                      stream::PackageWriter& writer);

/// The path of the package NAME-dbgsym beside the package's own.
std::string debugTarget(const std::string& target, const stream::ControlParagraph& control);

}  // namespace bex::tool

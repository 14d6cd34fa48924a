#pragma once

#include <string>

#include "bex/stream/PackageWriter.hpp"
#include "verbs/BuildArguments.hpp"

namespace bex::tool {

/// Fills the control paragraph from the tree's DEBIAN/control or the named file, then from the options.
/// Throws StreamError or UsageError naming what cannot be used.
void fillControl(const BuildArguments& arguments, stream::PackageWriter& writer);

/// Adds payload and control members. `inputCopy` is the path of a file that holds standard input where it is to be
/// added, `target` that of the package: an earlier one that stands in the tree is no payload. Throws as above.
void addContents(const BuildArguments& arguments, const std::string& inputCopy, const std::string& target,
                 stream::PackageWriter& writer);

}  // namespace bex::tool

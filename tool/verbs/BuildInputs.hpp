#pragma once

#include <string>

#include "bex/stream/PackageWriter.hpp"
#include "verbs/BuildArguments.hpp"
#include "verbs/Strip.hpp"

namespace bex::tool {

/// Fills the control paragraph from the tree's DEBIAN/control or the named file, then from the options.
/// Throws StreamError or UsageError naming what cannot be used.
void fillControl(const BuildArguments& arguments, stream::PackageWriter& writer);

/// What a payload is made of beside the files that the arguments name.
struct PayloadSources {
    std::string inputCopy;    ///< a file that holds standard input, where it is to be added
    std::string target;       ///< the package: an earlier one that stands in the tree is no payload
    StrippedFiles& stripped;  ///< gives the copies that are packaged instead of programs and libraries
};

/// Adds payload and control members. Throws as above.
void addContents(const BuildArguments& arguments, const PayloadSources& sources, stream::PackageWriter& writer);

}  // namespace bex::tool

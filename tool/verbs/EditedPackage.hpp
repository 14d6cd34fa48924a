#pragma once

#include <string>

#include "bex/stream/EditOptions.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// How an editor works where the command line says nothing else.
stream::EditOptions editOptions(const Context& context);

/// Refuses "-" for a package that is changed, read or written. Throws UsageError.
void requirePackageFile(const std::string& path, const char* what);

/// The usual ending of a package's name that this one has: "deb", "udeb" or "ddeb", or else "bex".
std::string packageSuffix(const std::string& path);

/// Throws UsageError where the path that nobody named leads to the package itself: that takes --in-place.
void requireOther(const std::string& target, const std::string& package);

/// Prints the path of what was written, or an object, and the notes.
void printEdited(const std::string& target, const stream::EditResult& result, bool several, Context& context);

}  // namespace bex::tool

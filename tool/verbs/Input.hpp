#pragma once

#include <string>

#include "bex/stream/PackageReader.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// The options of a reader as the command line set them.
stream::ReadOptions readOptions(const Context& context);

/// The package as messages name it.
std::string nameInMessages(const std::string& path);

/// Refuses "-" for a verb that has to read a package more than once. Throws UsageError.
void requireFile(const std::string& path);

/// Opens a package by path; "-" is standard input.
stream::PackageReader openPackage(const std::string& path, const stream::ReadOptions& options);

}  // namespace bex::tool

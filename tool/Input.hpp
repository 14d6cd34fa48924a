#pragma once

#include <string>

#include "Context.hpp"
#include "bex/stream/PackageReader.hpp"

namespace bex::tool {

/// The options of a reader as the command line set them.
stream::ReadOptions readOptions(const Context& context);

/// Opens a package by path; "-" is standard input.
stream::PackageReader openPackage(const std::string& path, const stream::ReadOptions& options);

}  // namespace bex::tool

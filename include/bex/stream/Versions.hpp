#pragma once

// The version of these headers, which CMakeLists.txt reads here; libraryVersions() returns the one in use.
#define BEX_VERSION_MAJOR 1
#define BEX_VERSION_MINOR 0
#define BEX_VERSION_PATCH 0

#include <string>
#include <vector>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// A library and its version.
struct LibraryVersion {
    std::string name;
    std::string version;
};

/// This library first, then those that it uses.
BEX_EXPORT std::vector<LibraryVersion> libraryVersions();

}  // namespace bex::stream

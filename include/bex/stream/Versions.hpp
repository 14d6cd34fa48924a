#pragma once

#include <string>
#include <vector>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// A library and its version.
struct LibraryVersion {
    std::string name;
    std::string version;
};

/// This library first, then those that it stands on.
BEX_EXPORT std::vector<LibraryVersion> libraryVersions();

}  // namespace bex::stream

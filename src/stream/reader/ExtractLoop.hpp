#pragma once

#include <string>

#include "stream/reader/PackageStream.hpp"

namespace bex::stream {

/// Extracts the entries that are left of the stream below the directory, as PackageReader::extract() promises.
ExtractResult extractAll(PackageStream& stream, const std::string& destination, const ExtractOptions& options,
                         System& system);

}  // namespace bex::stream

#pragma once

#include <string>
#include <vector>

#include "bex/stream/ExtractOptions.hpp"
#include "stream/reader/PackageStream.hpp"

namespace bex::stream {

/// Extracts the entries that are left of the stream below the directory, as PackageReader::extract() promises.
ExtractResult extractAll(PackageStream& stream, const std::string& destination, const ExtractOptions& options,
                         System& system);

/// The same for control members, which are in memory. `package`, unescaped, begins the messages.
ExtractResult extractMembers(const std::vector<ControlMember>& members, const std::string& package,
                             const std::string& destination, const ExtractOptions& options, System& system);

}  // namespace bex::stream

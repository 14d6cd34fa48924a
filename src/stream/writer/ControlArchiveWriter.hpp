#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "stream/codec/CompressingSink.hpp"

namespace bex::stream {

/// The member control.tar, compressed: the files in order of their names below a "./" of mode 0755, scripts with
/// mode 0755, others with 0644, all with owner root and the time `mtime`.
std::string makeControlArchive(const std::map<std::string, std::string>& files, std::int64_t mtime,
                               const CompressionSettings& settings);

}  // namespace bex::stream

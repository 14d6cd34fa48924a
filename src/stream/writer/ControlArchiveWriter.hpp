#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "bex/stream/Entry.hpp"
#include "stream/codec/CompressingSink.hpp"

namespace bex::stream {

/// The entry of the control archive for a member of that name: owned by root, a script with mode 0755, another
/// with 0644.
Entry controlEntryOf(std::string_view name, std::size_t size, std::int64_t mtime);

/// What `write` writes to the sink that it is given, compressed.
std::string compressed(const std::function<void(Sink&)>& write, const CompressionSettings& settings);

/// The member control.tar, compressed: the files in order of their names, below a "./" of mode 0755, all with the
/// time `mtime`.
std::string makeControlArchive(const std::map<std::string, std::string>& files, std::int64_t mtime,
                               const CompressionSettings& settings);

}  // namespace bex::stream

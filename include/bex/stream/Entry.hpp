#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bex/stream/Export.hpp"

namespace bex::stream {

enum class EntryType { file, directory, symlink, hardlink, characterDevice, blockDevice, fifo, other };

/// One entry of the payload (or of the control archive), as the tar archive describes it.
struct Entry {
    /// As stored, such as "./usr/bin/tool"; any bytes but NUL. A directory ends in "/".
    std::string path;
    EntryType type = EntryType::file;
    std::uint32_t mode = 0644;  ///< permission, set-id and sticky bits (07777)
    std::uint64_t size = 0;     ///< bytes of content; 0 for everything but files
    std::int64_t mtime = 0;     ///< seconds since 1970-01-01 00:00:00 UTC
    std::uint64_t uid = 0;
    std::uint64_t gid = 0;
    std::string owner;
    std::string group;
    std::string linkTarget;  ///< of symlinks and hard links, else empty
};

/// The path in canonical form: "./", empty and "." components and a final "/" removed, so that
/// "./usr//bin/" gives "usr/bin" and "./" gives "". ".." stays as it is.
BEX_EXPORT std::string plainPath(std::string_view path);

}  // namespace bex::stream

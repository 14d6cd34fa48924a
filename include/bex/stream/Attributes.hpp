#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// Attributes that a caller gives to an entry, instead of those on disk.
struct Attributes {
    std::uint32_t mode = 0644;  ///< permission, set-id and sticky bits (07777)
    /// Seconds since 1970. Unset: the newest time of any entry in the package, so that equal input gives equal
    /// bytes. If no entry has a time: WriteOptions::latestTime, or 0.
    std::optional<std::int64_t> mtime = std::nullopt;
    /// As in Ownership.
    std::uint64_t uid = 0;
    std::uint64_t gid = 0;
    std::string owner = "root";
    std::string group = "root";
};

/// Owner and group of an entry, each by number, at most 4294967294, and by name, at most 31 bytes. Readers prefer
/// a name that their system knows; "" is not a name.
struct Ownership {
    std::uint64_t uid = 0;
    std::uint64_t gid = 0;
    std::string owner = "root";
    std::string group = "root";
};

/// Converts what people write for owner and group. A number is stored without a name. A name is stored with the
/// number 0, because only the system that unpacks the package knows the number of that name.
BEX_EXPORT Ownership ownershipOf(std::string_view user, std::string_view group);

}  // namespace bex::stream

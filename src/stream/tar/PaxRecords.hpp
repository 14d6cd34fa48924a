#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "stream/base/Place.hpp"

namespace bex::stream {

/// What a pax extended header (pax(1), "LENGTH KEY=VALUE\n" records) says in place of the entry's own header. Keys
/// that are not here, such as those of access lists, are skipped.
struct PaxRecords {
    std::optional<std::string> path;
    std::optional<std::string> link;
    std::optional<std::string> owner;
    std::optional<std::string> group;
    std::optional<std::uint64_t> size;
    std::optional<std::uint64_t> uid;
    std::optional<std::uint64_t> gid;
    std::optional<std::int64_t> mtime;  ///< whole seconds; the fraction is dropped
    bool sparse = false;                ///< any of GNU tar's sparse formats
};

/// Decodes the header's body. Throws StreamError for records that are malformed, that are there twice, or that
/// readers understand differently.
PaxRecords parsePaxRecords(std::string_view body, const Place& place);

}  // namespace bex::stream

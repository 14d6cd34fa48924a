#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "stream/base/Place.hpp"

namespace bex::stream {

/// What a pax extended header (pax(1), "LENGTH KEY=VALUE\n" records) says of where an entry's bytes end and where
/// they go.
struct PaxRecords {
    std::optional<std::string> path;
    std::optional<std::string> link;
    std::optional<std::uint64_t> size;
    bool sparse = false;     ///< any of GNU tar's sparse formats
    bool mapInBody = false;  ///< GNU sparse format 1.0: the map stands before the contents
};

/// Takes the header's body apart. Throws StreamError for records that are malformed, that stand there twice, or
/// that readers understand differently.
PaxRecords parsePaxRecords(std::string_view body, const Place& place);

}  // namespace bex::stream

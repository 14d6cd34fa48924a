#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace bex::stream {

/// How many characters at the front may stand in a field name: printable ASCII but blank and colon (deb822(5)).
std::size_t fieldNameLength(std::string_view text);

/// Why this cannot be a field name; empty when it can.
std::string fieldNameFault(std::string_view name);

/// Why a control file cannot carry this value so that it is read back the same; empty when it can.
std::string fieldValueFault(std::string_view value);

}  // namespace bex::stream

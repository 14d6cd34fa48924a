#pragma once

#include <string>
#include <string_view>

namespace bex::stream {

/// The text in double quotes for a message: escaped, and cut to some 60 bytes when it is longer.
std::string quoted(std::string_view text);

}  // namespace bex::stream

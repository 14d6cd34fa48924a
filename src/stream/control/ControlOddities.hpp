#pragma once

#include <string_view>
#include <vector>

#include "stream/control/Oddity.hpp"

namespace bex::stream {

/// What ControlParagraph::parse() accepts in a package's "control" and dpkg does not, or only with a warning:
/// `control-comment`, `control-carriage-return` (a line that holds nothing else), `control-newline` (the last line
/// lacks it) and `control-colon` (a blank before the colon).
/// Each code comes once, with the first line that it is about.
std::vector<Oddity> controlOddities(std::string_view text);

}  // namespace bex::stream

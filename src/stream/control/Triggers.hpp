#pragma once

#include <string_view>
#include <vector>

#include "stream/control/Oddity.hpp"

namespace bex::stream {

/// What dpkg refuses in the control member "triggers" (deb-triggers(5)), one `triggers-syntax` for each line.
/// dpkg is stricter than its manual page: "#" begins a comment only at the front of a line, a line has at most 254
/// bytes, and the last one needs its newline.
std::vector<Oddity> triggersOddities(std::string_view text);

}  // namespace bex::stream

#pragma once

#include <string_view>
#include <vector>

#include "stream/control/Oddity.hpp"

namespace bex::stream {

/// What dpkg refuses, or only dislikes, in a control member of that name by itself: "triggers" and the maintainer
/// scripts. Any other member has none.
std::vector<Oddity> memberOddities(std::string_view name, std::string_view contents);

}  // namespace bex::stream

#pragma once

#include <string>
#include <vector>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// The known word that the given one was probably meant to be: at most two characters inserted, deleted or
/// replaced away, ASCII case not counted. "" when none is near.
BEX_EXPORT std::string nearest(const std::string& word, const std::vector<std::string>& known);

}  // namespace bex::stream

#pragma once

#include <string>
#include <vector>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// The known word that is nearest to the given one: at most two characters inserted, deleted or replaced, without
/// regard to ASCII case. "" if none is near.
BEX_EXPORT std::string nearest(const std::string& word, const std::vector<std::string>& known);

}  // namespace bex::stream

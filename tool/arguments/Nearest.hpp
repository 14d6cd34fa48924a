#pragma once

#include <string>
#include <vector>

namespace bex::tool {

/// The known word that the given one was probably meant to be: at most two characters inserted, deleted or
/// replaced away, ASCII case not counted. "" when none is near.
std::string nearest(const std::string& word, const std::vector<std::string>& known);

}  // namespace bex::tool

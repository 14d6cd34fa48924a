#pragma once

#include <string>

#include "buildfile/yaml/Value.hpp"

namespace bex::buildfile {

/// Reads the one YAML document of the text; `file` names it in messages. Aliases become copies, and a map takes
/// over what its "<<" holds. Throws StreamError (`invalidInput`) for what is not YAML, for a doubled key, for more
/// than 64 levels, and for more than a million values, counting copies.
Value readYaml(const std::string& text, const std::string& file);

}  // namespace bex::buildfile

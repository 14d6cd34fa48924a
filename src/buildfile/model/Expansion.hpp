#pragma once

#include <string>

#include "buildfile/yaml/Value.hpp"

namespace bex::buildfile {

/// Which variables of the environment a text may name.
enum class Expansion {
    none,
    braces,  ///< ${NAME} and ${NAME:-default}; $$ is a dollar
    shell    ///< $NAME, too
};

/// The text with the variables' values in their places. An unset variable without a default is an error, as is a
/// brace that nothing closes. Throws StreamError (`invalidInput`) at the value's place in `file`.
std::string expanded(const Value& value, Expansion expansion, const std::string& file);

}  // namespace bex::buildfile

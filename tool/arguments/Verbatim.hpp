#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace bex::tool {

/// The parser takes a positional argument of the form "[a,b]" for a list and "++" for the end of a verb. An
/// argument that ends in NUL, as none of the system's does, is neither: verbatim() appends one where it is needed,
/// and takeVerbatim() makes the app's options remove it again.
std::vector<std::string> verbatim(std::vector<std::string> arguments);
void takeVerbatim(CLI::App& app);

/// The argument as it was given.
std::string withoutMark(std::string argument);

}  // namespace bex::tool

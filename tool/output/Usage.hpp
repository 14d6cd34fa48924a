#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "output/Context.hpp"

namespace bex::tool {

/// Prints why the arguments are wrong, with the verb or option that was probably meant. Returns `usage`.
ExitStatus reportUsage(const CLI::App& program, const CLI::ParseError& error,
                       const std::vector<std::string>& arguments, Context& context);

}  // namespace bex::tool

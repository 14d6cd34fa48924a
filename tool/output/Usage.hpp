#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "output/Context.hpp"

namespace bex::tool {

/// The verb that was chosen, or the verb of that verb; the program as long as there is none.
const CLI::App& chosenApp(const CLI::App& program);

/// Prints why the arguments are wrong, with the verb or option that was probably meant. Returns `usage`.
ExitStatus reportUsage(const CLI::App& program, const CLI::ParseError& error,
                       const std::vector<std::string>& arguments, Context& context);

}  // namespace bex::tool

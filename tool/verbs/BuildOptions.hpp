#pragma once

#include <CLI/App.hpp>

#include "verbs/BuildArguments.hpp"

namespace bex::tool {

/// Adds the arguments and options of `bex build`, which set `arguments`. It must outlive the parsing.
void addBuildOptions(CLI::App& verb, BuildArguments& arguments);

}  // namespace bex::tool

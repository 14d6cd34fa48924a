#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace bex::tool {

/// Adds a repeatable option that takes codes of findings. A word that is none is refused, so that a misspelt code
/// does not go unnoticed. `codes` must outlive the program.
void addFindingCodes(CLI::App& app, const std::string& name, const std::string& description,
                     std::vector<std::string>& codes);

}  // namespace bex::tool

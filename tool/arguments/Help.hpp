#pragma once

#include <CLI/App.hpp>
#include <string>

namespace bex::tool {

/// The help of the program or of one verb, made to fit a terminal of 80 columns and 24 lines: usage, description,
/// a row for each argument and option, the footer. Options that share a group of their own stand in one row, which
/// the group's name explains.
std::string helpText(const CLI::App& app);

}  // namespace bex::tool

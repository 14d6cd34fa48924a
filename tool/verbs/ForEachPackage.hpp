#pragma once

#include <functional>
#include <string>
#include <vector>

#include "output/Context.hpp"

namespace bex::tool {

/// Runs the work on each package by itself: a damaged package is reported, and the next one has its turn.
/// Returns the highest status. A cancelled operation ends the loop with its StreamError.
ExitStatus forEachPackage(const std::vector<std::string>& packages, Context& context,
                          const std::function<ExitStatus(const std::string&)>& work);

}  // namespace bex::tool

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace bex::fuzz {

/// Inputs to begin with: what the project's writers make of all they know, and odd things made by hand. The same
/// at every call.
std::vector<std::string> seedsFor(std::string_view target);

}  // namespace bex::fuzz

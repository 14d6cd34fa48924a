#pragma once

#include <CLI/App.hpp>
#include <string>
#include <string_view>

#include "bex/stream/Limits.hpp"

namespace bex::tool {

/// Adds `--limit NAME=VALUE` (repeatable), which changes what a package may ask for. `limits` must outlive the
/// program.
void addLimitOption(CLI::App& program, stream::Limits& limits);

/// Which option raises the limit, a field of Limits.
std::string limitHint(std::string_view field);

}  // namespace bex::tool

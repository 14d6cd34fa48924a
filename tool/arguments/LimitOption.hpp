#pragma once

#include <CLI/App.hpp>
#include <string>

#include "bex/stream/Limits.hpp"

namespace bex::tool {

/// Adds `--limit NAME=VALUE` (repeatable), which changes what a package may ask for. `limits` must outlive the
/// program.
void addLimitOption(CLI::App& program, stream::Limits& limits);

/// Which option lifts the limit that the message of a failure names.
std::string limitHint(const std::string& message);

}  // namespace bex::tool

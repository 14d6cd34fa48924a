#pragma once

#include <CLI/App.hpp>

#include "bex/stream/Limits.hpp"

namespace bex::tool {

/// Adds `--limit NAME=VALUE` (repeatable), which changes what a package may ask for. `limits` must outlive the
/// program.
void addLimitOption(CLI::App& program, stream::Limits& limits);

}  // namespace bex::tool

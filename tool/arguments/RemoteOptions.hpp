#pragma once

#include <CLI/App.hpp>

#include "bex/remote/RemoteOptions.hpp"

namespace bex::tool {

/// Adds the options for packages that are named by a URL. `options` must outlive the program.
void addRemoteOptions(CLI::App& program, remote::RemoteOptions& options);

}  // namespace bex::tool

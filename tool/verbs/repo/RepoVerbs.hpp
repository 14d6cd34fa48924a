#pragma once

#include "verbs/Commands.hpp"

namespace bex::tool {

/// The library that these verbs load.
constexpr const char* kRepoLibrary = "libbexrepo.so.1";

/// Each adds the options of its verb of `bex repo`, as those of Commands.hpp do.
void addRepoScan(CLI::App* verb, Action& chosen);
void addRepoMerge(CLI::App* verb, Action& chosen);

}  // namespace bex::tool

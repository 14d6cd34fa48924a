#pragma once

#include "verbs/Commands.hpp"

namespace bex::tool {

/// The library that these verbs load.
constexpr const char* kRepoLibrary = "libbexrepo.so.1";

/// Each adds the options of its verb of `bex repo`, as those of Commands.hpp do.
void addRepoScan(CLI::App* verb, Action& chosen);
void addRepoMerge(CLI::App* verb, Action& chosen);
void addRepoInit(CLI::App* verb, Action& chosen);
void addRepoAdd(CLI::App* verb, Action& chosen);
void addRepoList(CLI::App* verb, Action& chosen);
void addRepoRemove(CLI::App* verb, Action& chosen);
void addRepoPromote(CLI::App* verb, Action& chosen);
void addRepoVerify(CLI::App* verb, Action& chosen);
void addRepoPublish(CLI::App* verb, Action& chosen);

}  // namespace bex::tool

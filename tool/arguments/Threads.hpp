#pragma once

#include <CLI/App.hpp>
#include <string>

namespace bex::tool {

/// How many threads work where so many are asked for: never more than four for each processor, since each costs
/// memory and the surplus only waits. 0 stays 0.
unsigned usefulThreads(unsigned asked, unsigned processors) noexcept;

/// Adds the option under this name; `threads` gets the useful number.
void addThreadsOption(CLI::App& app, const std::string& name, unsigned& threads);

}  // namespace bex::tool

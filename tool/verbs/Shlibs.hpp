#pragma once

#include <CLI/App.hpp>

#include "bex/shlibs/Dependencies.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// shlibs::findDependencies(), in a library that is loaded at the first call.
shlibs::Report findDependencies(shlibs::Request request, const Context& context);

/// Prints notes and what is missing, and gives the status that they mean: `no` where a library has no provider.
ExitStatus reportMissing(const shlibs::Report& report, Context& context);

}  // namespace bex::tool

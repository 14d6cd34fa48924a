#pragma once

#include "output/ExitStatus.hpp"

namespace bex::tool {

/// The whole program: understands the arguments, runs the verb, prints what it threw.
ExitStatus run(int argc, const char* const* argv);

}  // namespace bex::tool

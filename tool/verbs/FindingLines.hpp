#pragma once

#include <string>
#include <vector>

#include "bex/stream/Finding.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// Prints the findings about a package or a repository as lines or, with --json, as one object, in one line where
/// it is one of several. The status is `no` where one of them is an error or, with `strict`, a warning.
ExitStatus printFindings(const std::string& subject, const std::vector<stream::Finding>& findings, bool strict,
                         bool several, Context& context);

}  // namespace bex::tool

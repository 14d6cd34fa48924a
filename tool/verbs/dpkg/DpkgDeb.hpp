#pragma once

#include <string>
#include <vector>

#include "output/Context.hpp"

namespace bex::tool {

/// Whether the arguments ask for one of dpkg-deb(1)'s actions, such as -I or --info, in the place of a verb.
bool asksForDpkgDeb(const std::vector<std::string>& arguments);

/// Does what dpkg-deb(1) does for these arguments: the same on standard output, byte for byte, and the same status
/// (0, or 2 for every error). Messages and the rules for unsafe entries are our own. Throws as the verbs do.
ExitStatus actAsDpkgDeb(const std::vector<std::string>& arguments, Context& context);

}  // namespace bex::tool

#pragma once

#include "bex/stream/ControlParagraph.hpp"
#include "output/Context.hpp"
#include "verbs/BuildArguments.hpp"

namespace bex::tool {

/// Puts the packages of the shared libraries that the payload needs in the place of ${shlibs:Depends} in Depends,
/// Pre-Depends, Recommends, Suggests and Enhances; "auto" as the whole of Depends means the same. A field of which
/// nothing is left is removed. Prints what is missing; anything but `done` means that the package cannot be built.
ExitStatus fillDependencies(const BuildArguments& arguments, stream::ControlParagraph& control, Context& context);

}  // namespace bex::tool

#pragma once

#include <memory>

#include "bex/buildfile/BuildFile.hpp"
#include "bex/stream/ControlParagraph.hpp"
#include "output/Context.hpp"
#include "verbs/BuildArguments.hpp"

namespace bex::tool {

/// Where TREE names a YAML file, or an option names a build file, the arguments after it are OUT alone.
/// Throws UsageError for what cannot be given with a build file.
void settleBuildFile(BuildArguments& arguments);

/// Reads the build file that the arguments name and takes over what it asks for, unless an option says otherwise;
/// sets fields that `control` lacks. Prints its notes. Null where the arguments name none.
std::unique_ptr<buildfile::BuildFile> openBuildFile(BuildArguments& arguments, stream::ControlParagraph& control,
                                                    Context& context);

}  // namespace bex::tool

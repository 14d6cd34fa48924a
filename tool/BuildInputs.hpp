#pragma once

#include <string>

#include "BuildChoices.hpp"
#include "bex/stream/PackageWriter.hpp"

namespace bex::tool {

/// Fills the writer with all that the choices name: payload, control paragraph and control members. `inputCopy`
/// is the path of a file that holds standard input where it is to be added.
/// Throws StreamError or UsageError naming what cannot be used.
void collectInputs(const BuildChoices& choices, const std::string& inputCopy, stream::PackageWriter& writer);

/// The whole file. Throws StreamError (`inputOutput`); what is no regular file is refused.
std::string readFile(const std::string& path);

}  // namespace bex::tool

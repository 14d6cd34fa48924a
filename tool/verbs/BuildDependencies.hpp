#pragma once

#include <string>
#include <vector>

#include "bex/shlibs/Dependencies.hpp"
#include "bex/stream/ControlParagraph.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// The value of a field as a user gives it, with "${shlibs:Depends}" for each relation "auto" of Depends.
std::string withVariable(const std::string& field, const std::string& value);

/// Replaces ${shlibs:Depends} in Depends, Pre-Depends, Recommends, Suggests and Enhances by the packages of the
/// shared libraries that the payload needs. A field of which nothing is left is removed. Loads and examines
/// nothing where no field has the variable.
///
/// `sources` are the files and directories on disk that the payload is made of. Libraries are looked for as
/// `search` says; its inputs and architecture are replaced. Prints notes and what is missing. Any status but
/// `done` means that the package cannot be built.
ExitStatus fillDependencies(const std::vector<std::string>& sources, shlibs::Request search,
                            stream::ControlParagraph& control, Context& context);

}  // namespace bex::tool

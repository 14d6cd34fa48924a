#pragma once

#include <string>
#include <vector>

#include "bex/shlibs/Dependencies.hpp"
#include "bex/stream/ControlParagraph.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// The value of a field as a user gives it, with "${shlibs:Depends}" for each relation "auto" of Depends.
std::string withVariable(const std::string& field, const std::string& value);

/// Whether a field has ${shlibs:Depends}.
bool wantsDependencies(const stream::ControlParagraph& control);

/// The paragraph with nothing in the place of ${shlibs:Depends}, which no package may have.
stream::ControlParagraph withoutVariable(stream::ControlParagraph control);

/// Replaces ${shlibs:Depends} in Depends, Pre-Depends, Recommends, Suggests and Enhances by the packages of the
/// shared libraries that the payload needs. A field of which nothing is left is removed. Where no field has the
/// variable, nothing is loaded or examined.
///
/// Libraries are looked for as `search` says; its payload and architecture are replaced. Prints notes and what is
/// missing. Any status but `done` means that the package cannot be built.
ExitStatus fillDependencies(const std::vector<shlibs::PackagedFile>& payload, shlibs::Request search,
                            stream::ControlParagraph& control, Context& context);

}  // namespace bex::tool

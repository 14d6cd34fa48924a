#pragma once

#include <string>

#include "output/Console.hpp"

namespace bex::tool {

/// Whether the name of a file in DEBIAN is that of an editor's backup or hidden.
bool isLeftover(const std::string& name);

/// Prints a note for a control member that dpkg does not know, with the nearest name that it knows.
void noteUnknownMember(const std::string& name, Console& console);

}  // namespace bex::tool

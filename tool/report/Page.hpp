#pragma once

#include <string>

#include "report/Figures.hpp"

namespace bex::tool {

/// A page of HTML about a package, complete in itself: style and script are in it, and its Content-Security-Policy
/// lets a browser run that script, use that style and load nothing. Readable without the script, which sorts and
/// filters tables. Names and values of the package are escaped.
std::string pageAbout(const PackageFigures& package);

/// The same about two packages, with what grew and shrank between them.
std::string pageAbout(const PackageFigures& before, const PackageFigures& after);

}  // namespace bex::tool

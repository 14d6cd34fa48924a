#pragma once

#include <string>

#include "report/SizeTree.hpp"

namespace bex::tool {

/// The tree as an SVG image, laid out here and not in a browser: areas are sizes, colours the compressed share.
/// What would be smaller than some pixels is drawn as its directory alone, so that the image stays small.
std::string treemapSvg(const SizeTree& tree);

/// The colours and what they stand for.
std::string treemapLegend();

}  // namespace bex::tool

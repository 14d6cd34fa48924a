#pragma once

#include <string>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"

namespace bex::stream {

/// What ControlParagraph::faults() promises: what is missing first, then the fields' faults in their order.
std::vector<std::string> faultsOf(const ControlParagraph& paragraph);

}  // namespace bex::stream

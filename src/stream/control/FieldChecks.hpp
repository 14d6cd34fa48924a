#pragma once

#include <string>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"

namespace bex::stream {

/// The names of the mandatory fields, deb-control(5), that the paragraph lacks.
std::vector<std::string> missingFieldsOf(const ControlParagraph& paragraph);

}  // namespace bex::stream

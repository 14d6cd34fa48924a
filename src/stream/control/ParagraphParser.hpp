#pragma once

#include <string_view>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"

namespace bex::stream {

/// The fields of a text that holds one paragraph; ControlParagraph::parse() tells what is refused.
std::vector<ControlParagraph::Field> parseFields(std::string_view text, std::string_view name);

}  // namespace bex::stream

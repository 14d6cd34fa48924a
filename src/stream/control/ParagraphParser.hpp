#pragma once

#include <string_view>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

/// The fields of a text that holds one paragraph; ControlParagraph::parse() tells what is refused.
std::vector<ControlParagraph::Field> parseFields(std::string_view text, const Place& place);

/// As ControlParagraph::parse(), with errors about the place.
ControlParagraph parseParagraph(std::string_view text, const Place& place);

}  // namespace bex::stream

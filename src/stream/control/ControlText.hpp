#pragma once

#include <string>
#include <string_view>

#include "bex/stream/ControlParagraph.hpp"

namespace bex::stream {

/// The text of a control file whose fields become those of `paragraph`. Lines of fields that stay are kept byte
/// for byte, changed fields keep their place, new ones come last. `text` must be one that
/// ControlParagraph::parse() reads.
std::string withFields(std::string_view text, const ControlParagraph& paragraph);

}  // namespace bex::stream

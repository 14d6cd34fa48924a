#pragma once

#include "bex/stream/ControlParagraph.hpp"
#include "buildfile/model/Document.hpp"

namespace bex::buildfile {

/// The control paragraph that the document describes. Throws StreamError (`invalidInput`) at the value's place for
/// what no field may hold.
stream::ControlParagraph readFields(const Document& document);

}  // namespace bex::buildfile

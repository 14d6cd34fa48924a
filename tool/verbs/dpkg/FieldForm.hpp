#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "verbs/dpkg/RawParagraph.hpp"

namespace bex::tool {

/// The field as dpkg-deb(1) prints it: "Name: value\n", with relations, versions and words in its own spelling.
/// "" for a field that is not there. Throws StreamError (`invalidInput`) for a malformed relation or version.
std::string fieldLine(const RawParagraph& control, std::string_view name);

/// The value alone. Fields that dpkg knows always have one, if an empty one; of other fields there is none where
/// the paragraph has none.
std::optional<std::string> fieldText(const RawParagraph& control, std::string_view name);

}  // namespace bex::tool

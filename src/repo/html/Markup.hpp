#pragma once

#include <string>
#include <string_view>

namespace bex::repo {

/// Text from a package, made safe for HTML, in elements and in attributes with quotes: control characters,
/// bidirectional ones and bytes that are not UTF-8 are escaped as for a terminal; &, <, >, " and ' as entities.
std::string htmlText(std::string_view text);

/// Whether a URL may be a link: one of http or https without blanks.
bool isLinkable(std::string_view url);

}  // namespace bex::repo

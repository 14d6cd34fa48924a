#pragma once

#include <string>
#include <string_view>

namespace bex::stream {

/// What keeps the text from being a package version "[epoch:]upstream[-revision]" (deb-version(7)), as the rest
/// of a sentence about it, such as "must begin with a digit"; empty when it is one. As strict as dpkg.
std::string versionFault(std::string_view version);

}  // namespace bex::stream

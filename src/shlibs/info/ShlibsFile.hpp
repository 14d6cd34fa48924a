#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bex::shlibs {

/// What a shlibs file (deb-shlibs(5)) says of a library: the text of its dependencies, which may be empty; nothing
/// where it has no line for it. A line for the type "deb" wins over one without a type, an earlier over a later
/// one. Lines that break the format are told to `notes`, as `where`:LINE.
std::optional<std::string> dependencyFromShlibs(std::string_view text, std::string_view soname,
                                                const std::string& where, std::vector<std::string>& notes);

}  // namespace bex::shlibs

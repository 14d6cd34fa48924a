#pragma once

#include <string_view>

namespace bex::shlibs {

/// Whether the text is a version that stream::Version takes.
bool isVersion(std::string_view text);

/// Less than, equal to or greater than 0 as version `a` is older than, as old as or newer than `b`. Throws
/// stream::StreamError (`invalidInput`) for a text that is not a version.
int compareVersions(std::string_view a, std::string_view b);

}  // namespace bex::shlibs

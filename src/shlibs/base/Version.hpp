#pragma once

#include <string_view>

namespace bex::shlibs {

/// Less than, equal to or greater than 0 as `a` is older than, as old as or newer than `b`: deb-version(7).
int compareVersions(std::string_view a, std::string_view b) noexcept;

/// Whether the text can stand as a version: a digit first after the epoch, nothing but letters, digits and . + ~ -
/// :
bool isVersion(std::string_view text) noexcept;

}  // namespace bex::shlibs

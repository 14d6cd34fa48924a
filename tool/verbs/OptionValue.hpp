#pragma once

#include <cstddef>
#include <string>
#include <utility>

namespace bex::tool {

/// Splits an option's value such as "A=B" at the separator that stands at `at`. Throws UsageError, with the form
/// that the option takes, where there is none or nothing before it.
std::pair<std::string, std::string> split(const std::string& text, std::size_t at, const char* option,
                                          const char* form);

}  // namespace bex::tool

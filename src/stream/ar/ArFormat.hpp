#pragma once

#include <cstddef>
#include <string_view>

namespace bex::stream {

/// What an ar archive begins with, and the length of a member's header (ar(5)).
constexpr std::string_view kArMagic = "!<arch>\n";
constexpr std::size_t kArHeaderBytes = 60;

}  // namespace bex::stream

#pragma once

#include <string_view>

namespace bex::stream {

/// The first member of every package and its contents, deb(5).
constexpr std::string_view kFormatVersionMember = "debian-binary";
constexpr std::string_view kFormatVersionText = "2.0\n";

}  // namespace bex::stream

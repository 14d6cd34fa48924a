#pragma once

#include <cstddef>
#include <string_view>

namespace bex::stream {

/// What an ar archive begins with, and the length of a member's header (ar(5)).
constexpr std::string_view kArMagic = "!<arch>\n";
constexpr std::size_t kArHeaderBytes = 60;

/// The first member of every package and its contents, deb(5).
constexpr std::string_view kFormatVersionMember = "debian-binary";
constexpr std::string_view kFormatVersionText = "2.0\n";

}  // namespace bex::stream

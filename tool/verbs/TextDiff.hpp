#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace bex::tool {

/// Larger files are not compared line by line.
constexpr std::size_t kTextDiffBytes = std::size_t{1} << 20;

/// Whether a unified diff of the bytes makes sense: UTF-8 without NUL, not too large.
bool isText(std::string_view bytes);

/// The hunks of a unified diff (as diff -u prints them), lines escaped for display; "" for equal texts. A missing
/// end of the last line is shown as diff(1) shows it. Nothing if the texts have more lines, or differ in more of
/// them, than some 100 MB of memory and a second can compare.
std::optional<std::string> unifiedHunks(std::string_view before, std::string_view after);

}  // namespace bex::tool

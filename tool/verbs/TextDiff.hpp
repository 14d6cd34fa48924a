#pragma once

#include <string>
#include <string_view>

namespace bex::tool {

/// Files larger than this are not compared line by line: the result would help nobody and cost much.
constexpr std::size_t textDiffBytes = std::size_t{1} << 20;

/// Whether a unified diff of the bytes makes sense: UTF-8 without NUL, not too large.
bool isText(std::string_view bytes);

/// The hunks of a unified diff (as diff -u prints them), lines escaped for display; "" for equal texts. A missing
/// end of the last line is told as diff(1) tells it.
std::string unifiedHunks(std::string_view before, std::string_view after);

}  // namespace bex::tool

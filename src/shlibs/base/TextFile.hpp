#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bex::shlibs {

/// The whole regular file; nothing where there is none under that name. Throws stream::StreamError (`inputOutput`;
/// `limitExceeded` for more than 256 MiB, a hundred times the largest file of a database).
std::optional<std::string> readTextFile(const std::string& path);

/// Takes the next word off the front of `rest`, with the blanks before it; empty where there is none.
std::string_view nextWord(std::string_view& rest);

/// The text without blanks at its ends, of which line ends are some.
std::string_view trimmed(std::string_view text);

/// The names in a directory, sorted; none where it cannot be read.
std::vector<std::string> namesIn(const std::string& directory);

}  // namespace bex::shlibs

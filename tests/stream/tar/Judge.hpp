#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Entry.hpp"

namespace bex::test {

/// One line for an entry and its contents, for comparing.
std::string lineOf(const stream::Entry& entry, const std::string& contents);

/// The first entries of a tar archive as libarchive reads them, at most that many.
std::vector<std::string> readByLibarchive(std::string_view tar, std::size_t most);

}  // namespace bex::test

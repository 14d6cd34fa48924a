#pragma once

#include <string_view>

#include "bex/stream/Entry.hpp"

namespace bex::tool {

/// What an entry is, for people: its type, or of a file what its first bytes say. `begin` are some of them, at
/// least 64 where the file has them.
const char* kindOf(const stream::Entry& entry, std::string_view begin);

}  // namespace bex::tool

#pragma once

#include <string_view>

#include "stream/system/System.hpp"

namespace bex::stream {

/// Writes all bytes at the descriptor's position, however many calls that takes. False and errno when it fails; a
/// file that takes no more bytes without an error counts as full (ENOSPC).
bool writeFully(System& system, int descriptor, std::string_view bytes);

}  // namespace bex::stream

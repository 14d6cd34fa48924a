#pragma once

#include <string>
#include <string_view>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// Makes text from a package or a disk safe for terminals, messages and columns: control characters (C0, DEL,
/// C1), line and paragraph separators, bidirectional controls, and bytes that are not UTF-8 become a backslash and
/// "n", "t" or "xHH" (two lower-case hexadecimal digits, one for each byte); a backslash is doubled; everything
/// else stays.
BEX_EXPORT std::string escapeForDisplay(std::string_view text);

/// Whether the text is well-formed UTF-8 (RFC 3629).
BEX_EXPORT bool isUtf8(std::string_view text) noexcept;

}  // namespace bex::stream

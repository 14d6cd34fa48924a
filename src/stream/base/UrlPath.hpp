#pragma once

#include <string>
#include <string_view>

#include "stream/base/Ascii.hpp"
#include "stream/base/Hex.hpp"

namespace bex::stream {

/// A path as a part of a URL (RFC 3986, section 2.3): every byte that is not unreserved is escaped, except "/".
/// The "+" of a version is escaped, too, because some servers read it as a blank.
inline std::string urlPath(std::string_view path) {
    std::string escaped;
    for (const char c : path) {
        if (isAlphanumeric(c) || std::string_view("-._~/").find(c) != std::string_view::npos) {
            escaped += c;
        } else {
            escaped += '%';
            appendHex(escaped, static_cast<unsigned char>(c), kUpperCaseHexDigits);
        }
    }
    return escaped;
}

}  // namespace bex::stream

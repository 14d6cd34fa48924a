#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace bex::stream {

/// The number of characters at the front that a field name may hold: printable ASCII except the colon (deb822(5)).
std::size_t fieldNameLength(std::string_view text);

/// The way of all checks here to answer: what is wrong, or nothing.
inline std::string faultUnless(bool sound, const char* fault) {
    if (sound) {
        return {};
    }
    return fault;
}

/// Why this cannot be a field name; empty when it can.
std::string fieldNameFault(std::string_view name);

/// Why a reader of the control file would not get this value back; empty when it would.
std::string fieldValueFault(std::string_view value);

}  // namespace bex::stream

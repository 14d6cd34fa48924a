#pragma once

#include <string>

namespace bex::remote {

/// Where a request goes: a URL taken apart. Compared without user and password.
struct Address {
    std::string url;   ///< without user, password and fragment; what messages name
    std::string user;  ///< decoded; "" where the URL has none
    std::string password;
    std::string origin;  ///< scheme, host and port, the port always given
    bool secure = false;
};

/// Takes a URL of the scheme http or https apart. Throws StreamError (`invalidInput`, `remote-url`).
Address parseUrl(const std::string& text);

/// Where a redirect from `from` leads, `location` being relative or not. Throws StreamError (`remote-redirect`)
/// where it cannot be followed: another scheme, or http from https.
Address redirected(const Address& from, const std::string& location);

}  // namespace bex::remote

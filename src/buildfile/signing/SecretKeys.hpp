#pragma once

#include <string>
#include <string_view>

namespace bex::buildfile {

/// The fingerprint of the key that signs, out of what `gpg --with-colons --list-secret-keys` prints. `id`: the key
/// or subkey of that ID or fingerprint, in upper case; "" for the first subkey that can sign, or else the primary
/// key. Throws StreamError (`invalidInput`) if there is none, and without an ID if there are several primary keys.
std::string signingKeyOf(std::string_view listing, const std::string& id);

}  // namespace bex::buildfile

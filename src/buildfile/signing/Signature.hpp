#pragma once

#include <string>

#include "bex/stream/TrailingMember.hpp"
#include "buildfile/model/Description.hpp"

namespace bex::buildfile {

/// The member that signs the package of the description, which must ask for a signature. debsign, as debsigs(1):
/// an armored detached OpenPGP signature of what comes before it; gpg(1) runs beside the writer. dpkgSig, as
/// dpkg-sig(1): a clear-signed text with the digests of the members before it. `key`: the contents of the key
/// file.
///
/// The maker tries the key when it begins. Errors are those of SigningKey.
stream::TrailingMember signatureMember(const Description& description, const std::string& key);

}  // namespace bex::buildfile

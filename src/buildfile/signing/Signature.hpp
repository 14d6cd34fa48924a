#pragma once

#include <memory>
#include <string>

#include "bex/stream/TrailingMember.hpp"
#include "buildfile/model/Description.hpp"

namespace bex::buildfile {

/// The member that signs a package as debsigs(1) does: an armored detached OpenPGP signature, by gpg(1), of what
/// comes before it. `key`: the contents of the key file. `file`: the build file, for messages.
///
/// The passphrase is that of NFPM_DEB_PASSPHRASE, or else of NFPM_PASSPHRASE. The maker imports the key into a
/// home of its own and tries it, when it begins; gpg runs beside the writer from then on. All errors are
/// StreamErrors at the key's place in the build file: `invalidInput` for a key that cannot be used, else
/// `inputOutput` with the code "signer" and what gpg says.
stream::TrailingMember signatureMember(const SignatureRequest& request, const std::string& key,
                                       const std::string& file);

}  // namespace bex::buildfile

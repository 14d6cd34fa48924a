#pragma once

#include <string>

#include "bex/repo/Repository.hpp"

namespace bex::repo {

/// The two signatures of a Release file.
struct Signatures {
    std::string inRelease;   ///< the text with its signature
    std::string releaseGpg;  ///< the signature alone
};

/// Signs the text with the program, key and timeout of the options: gpg, or a Stateless OpenPGP tool
/// (draft-dkg-openpgp-stateless-cli), whose `inline-sign` and `sign` are called. The program is a process of its
/// own with the text as its standard input. Throws StreamError (`inputOutput`, code "signer") where it fails, does
/// not end in time, or does not print a signature of this text.
Signatures sign(const std::string& text, const PublishOptions& options);

}  // namespace bex::repo

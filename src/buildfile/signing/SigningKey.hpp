#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/StreamError.hpp"
#include "buildfile/model/Description.hpp"
#include "buildfile/signing/GpgHome.hpp"
#include "signing/Process.hpp"

namespace bex::buildfile {

/// A key that signs in one way, in a home of gpg's own, which goes with this object. All errors are StreamErrors
/// at the key's place in the build file: `invalidInput` for a key that cannot be used, else `inputOutput` with the
/// code "signer" and what gpg says. The passphrase is that of NFPM_DEB_PASSPHRASE, or else of NFPM_PASSPHRASE.
class SigningKey {
public:
    /// Imports the key and signs an empty text with it: gpg asks for the passphrase only at the end of what it
    /// signs. `key`: the contents of the key file. `mode`: gpg's option, such as --detach-sign. `file`: the build
    /// file, for messages.
    SigningKey(const SignatureRequest& request, const std::string& key, const std::string& mode, std::string file);

    /// Starts gpg, to sign what it is fed. It must end before this object does.
    signing::FedProgram start() const;
    void feed(signing::FedProgram& program, std::string_view bytes) const;
    /// Returns what gpg printed.
    std::string finish(signing::FedProgram& program) const;
    /// Throws unless gpg did what it should have done.
    void require(bool condition, const char* reason) const;

private:
    template <class Action>
    auto located(const Action& action, const std::string& hint = "") const;
    [[noreturn]] void refuse(stream::ErrorKind kind, const std::string& code, const std::string& reason) const;

    NamedPath keyFile_;
    std::string file_;
    GpgHome home_;
    std::vector<std::string> command_;
    std::string passphrase_;
};

}  // namespace bex::buildfile

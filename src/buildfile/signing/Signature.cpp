#include "buildfile/signing/Signature.hpp"

#include <cstddef>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"
#include "buildfile/signing/GpgHome.hpp"
#include "buildfile/signing/SecretKeys.hpp"
#include "signing/Armor.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

/// "" where there is none.
std::string passphrase() {
    for (const char* variable : {"NFPM_DEB_PASSPHRASE", "NFPM_PASSPHRASE"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') {
            return value;
        }
    }
    return "";
}

/// Runs gpg from its beginning to its end; all of its files go with it.
class SignatureMaker : public stream::MemberMaker {
public:
    SignatureMaker(NamedPath keyFile, std::string file) : keyFile_(std::move(keyFile)), file_(std::move(file)) {}

    /// Imports the key, tries it, and begins to sign.
    void begin(const std::string& key, const std::string& keyId) {
        std::vector<std::string> sign = {"--digest-algo", "SHA512", "--armor", "--output", "-", "--local-user"};
        located([&] {
            home_.run({"--import"}, key);
            // The mark after it: exactly this key, and not another one of the same owner.
            sign.push_back(signingKeyOf(home_.run({"--with-colons", "--list-secret-keys"}, ""), keyId) + "!");
        });
        sign.emplace_back("--detach-sign");
        const std::string secret = passphrase();
        std::string hint;
        if (secret.empty()) {
            hint = "; neither NFPM_DEB_PASSPHRASE nor NFPM_PASSPHRASE is set";
        }
        // gpg needs the passphrase only at the end of what it signs, and the payload may be large.
        located([&] { home_.run(sign, "", secret); }, hint);
        located([&] { gpg_.emplace(home_.start(sign, secret)); });
    }

    void write(const char* data, std::size_t size) override {
        located([&] { gpg_->write({data, size}); });
    }

    std::string finish() override {
        std::string signature;
        located([&] { signature = gpg_->finish(); });
        if (!signing::isArmoredSignature(signature)) {
            refuse(stream::ErrorKind::inputOutput, "signer", "gpg did not print an armored signature");
        }
        return signature;
    }

private:
    /// Puts errors of the action at the key's place in the build file, with the hint after them.
    template <class Action>
    void located(const Action& action, const std::string& hint = "") const {
        try {
            action();
        } catch (const stream::StreamError& error) {
            std::string reason = error.record().reason;
            if (!error.record().package.empty()) {
                reason = error.record().package + ": " + reason;
            }
            refuse(error.kind(), error.code(), reason + hint);
        }
    }

    [[noreturn]] void refuse(stream::ErrorKind kind, const std::string& code, const std::string& reason) const {
        stream::ErrorRecord record;
        record.kind = kind;
        record.code = code;
        record.package = file_;
        record.line = keyFile_.at.line;
        record.column = keyFile_.at.column;
        record.reason = "can't sign with the key in " + stream::escapeForDisplay(keyFile_.path) + ": " + reason;
        throw stream::StreamError(std::move(record));
    }

    NamedPath keyFile_;
    std::string file_;
    GpgHome home_;
    std::optional<signing::FedProgram> gpg_;  ///< stopped before its home goes
};

}  // namespace

stream::TrailingMember signatureMember(const SignatureRequest& request, const std::string& key,
                                       const std::string& file) {
    return {request.member, [request, key, file] {
                auto maker = std::make_unique<SignatureMaker>(request.keyFile, file);
                maker->begin(key, request.keyId);
                return maker;
            }};
}

}  // namespace bex::buildfile

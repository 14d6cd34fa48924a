#include "buildfile/signing/SigningKey.hpp"

#include <cstdlib>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "buildfile/signing/SecretKeys.hpp"

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

}  // namespace

/// Puts errors of the action at the key's place in the build file, with the hint after them.
template <class Action>
auto SigningKey::located(const Action& action, const std::string& hint) const {
    try {
        return action();
    } catch (const stream::StreamError& error) {
        std::string reason = error.record().reason;
        if (!error.record().package.empty()) {
            reason = error.record().package + ": " + reason;
        }
        refuse(error.kind(), error.code(), reason + hint);
    }
}

SigningKey::SigningKey(const SignatureRequest& request, const std::string& key, const std::string& mode,
                       std::string file)
    : keyFile_(request.keyFile),
      file_(std::move(file)),
      command_({"--digest-algo", "SHA512", "--armor", "--output", "-", "--local-user"}),
      passphrase_(passphrase()) {
    located([&] {
        home_.run({"--import"}, key);
        // The mark after it: exactly this key, and not another one of the same owner.
        command_.push_back(signingKeyOf(home_.run({"--with-colons", "--list-secret-keys"}, ""), request.keyId) +
                           "!");
    });
    command_.push_back(mode);
    std::string hint;
    if (passphrase_.empty()) {
        hint = "; neither NFPM_DEB_PASSPHRASE nor NFPM_PASSPHRASE is set";
    }
    // Before the payload, which may be large, is compressed.
    located([&] { home_.run(command_, "", passphrase_); }, hint);
}

signing::FedProgram SigningKey::start() const {
    return located([&] { return home_.start(command_, passphrase_); });
}

void SigningKey::feed(signing::FedProgram& program, std::string_view bytes) const {
    located([&] { program.write(bytes); });
}

std::string SigningKey::finish(signing::FedProgram& program) const {
    return located([&] { return program.finish(); });
}

void SigningKey::require(bool condition, const char* reason) const {
    if (!condition) {
        refuse(stream::ErrorKind::inputOutput, "signer", reason);
    }
}

void SigningKey::refuse(stream::ErrorKind kind, const std::string& code, const std::string& reason) const {
    stream::ErrorRecord record;
    record.kind = kind;
    record.code = code;
    record.package = file_;
    record.line = keyFile_.at.line;
    record.column = keyFile_.at.column;
    record.reason = "can't sign with the key in " + stream::escapeForDisplay(keyFile_.path) + ": " + reason;
    throw stream::StreamError(std::move(record));
}

}  // namespace bex::buildfile

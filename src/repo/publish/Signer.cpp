#include "repo/publish/Signer.hpp"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "repo/base/Failure.hpp"
#include "repo/index/Release.hpp"
#include "repo/suite/Settings.hpp"
#include "signing/Armor.hpp"
#include "signing/Process.hpp"

namespace bex::repo {

namespace {

/// The commands that make InRelease and Release.gpg.
std::pair<std::vector<std::string>, std::vector<std::string>> commandsOf(const PublishOptions& options) {
    std::vector<std::string> inlineSign = wordsOf(options.signer);
    std::vector<std::string> detached = inlineSign;
    if (inlineSign.empty()) {
        // Neither SHA-1, which old configurations still name, nor a question that nobody would answer.
        inlineSign = {"gpg", "--batch", "--no-tty", "--yes", "--digest-algo", "SHA512", "--armor", "--local-user"};
        inlineSign.push_back(options.key);
        detached = inlineSign;
        inlineSign.insert(inlineSign.end(), {"--output", "-", "--clear-sign"});
        detached.insert(detached.end(), {"--output", "-", "--detach-sign"});
        return {inlineSign, detached};
    }
    inlineSign.insert(inlineSign.end(), {"inline-sign", "--as=clearsigned", options.key});
    detached.insert(detached.end(), {"sign", options.key});
    return {inlineSign, detached};
}

void require(bool condition, const std::string& program, const char* reason) {
    if (!condition) {
        throw failure(ErrorKind::inputOutput, "signer", program, reason);
    }
}

}  // namespace

Signatures sign(const std::string& text, const PublishOptions& options) {
    constexpr std::string_view begin = "\n-----BEGIN PGP SIGNATURE-----";
    const auto [inlineSign, detached] = commandsOf(options);
    const std::string& program = inlineSign.front();
    Signatures made;
    made.inRelease = signing::outputOf(inlineSign, text, options.signerTimeout);
    // A program that signs something else, or prints a word of its own, is found here and not by clients.
    // Lines of the text that look like the beginning are escaped with a dash.
    const std::string_view signature =
        std::string_view(made.inRelease).substr(std::min(made.inRelease.find(begin) + 1, made.inRelease.size()));
    require(signedText(made.inRelease) == text && signing::isArmoredSignature(signature), program,
            "did not print the Release file with a signature");
    made.releaseGpg = signing::outputOf(detached, text, options.signerTimeout);
    require(signing::isArmoredSignature(made.releaseGpg), program, "did not print an armored signature");
    return made;
}

}  // namespace bex::repo

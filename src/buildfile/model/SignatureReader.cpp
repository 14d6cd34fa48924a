#include "buildfile/model/SignatureReader.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

#include "stream/base/Ascii.hpp"

namespace bex::buildfile {

namespace {

// dpkg-sig(1): the usual role. debsigs(1) has no such one.
constexpr const char* kDpkgSigRole = "builder";

/// In the form in which gpg prints IDs: upper case, without "0x". Nothing for what is not an ID.
std::optional<std::string> normalizedId(std::string_view text) {
    if (text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X") {
        text.remove_prefix(2);
    }
    // Short and long IDs, and fingerprints of the versions 4 and 5 of OpenPGP keys.
    if (text.size() != 8 && text.size() != 16 && text.size() != 40 && text.size() != 64) {
        return std::nullopt;
    }
    if (!stream::consistsOf(text, stream::isHexDigit)) {
        return std::nullopt;
    }
    return stream::upperCase(text);
}

std::string readKeyId(const Document& document, const Value* value) {
    const std::string text = document.text(value).value_or("");
    if (text.empty()) {
        return "";
    }
    std::optional<std::string> id = normalizedId(text);
    if (!id) {
        fail(document.file(), value->at,
             "deb.signature.key_id " + quotedText(text) +
                 " is not an ID of 8 or 16 hexadecimal digits, and not a fingerprint");
    }
    return std::move(*id);
}

/// Sets the method, and the role that each has its own usual one for.
void readMethod(const Document& document, const Value& signature, SignatureRequest& request) {
    request.role = "origin";
    if (const Value* method = signature.find("method"); method != nullptr && method->text == "dpkg-sig") {
        request.method = SignatureMethod::dpkgSig;
        request.role = kDpkgSigRole;
    }
    const Value* type = signature.find("type");
    if (type == nullptr || type->text.empty()) {
        return;
    }
    request.role = type->text;
    if (request.method == SignatureMethod::debsign && request.role == kDpkgSigRole) {
        fail(document.file(), type->at, "deb.signature.type builder is for the method dpkg-sig alone");
    }
}

/// The name becomes a line of the signed text.
std::string readSigner(const Document& document, const Value* value) {
    std::string signer(stream::trimmed(document.text(value).value_or("")));
    const auto isControl = [](char byte) { return static_cast<unsigned char>(byte) < ' ' || byte == '\x7f'; };
    if (std::any_of(signer.begin(), signer.end(), isControl)) {
        fail(document.file(), value->at, "deb.signature.signer is not one line of text");
    }
    return signer;
}

}  // namespace

std::optional<SignatureRequest> readSignature(const Document& document, std::vector<std::string>& notes) {
    const Value* signature = document.inDeb("signature");
    if (signature == nullptr) {
        return std::nullopt;
    }
    SignatureRequest request;
    request.keyId = readKeyId(document, signature->find("key_id"));
    readMethod(document, *signature, request);
    request.signer = readSigner(document, signature->find("signer"));
    std::optional<NamedPath> keyFile = document.path(signature->find("key_file"));
    if (!keyFile) {
        // Not an error: nfpm signs only with a key, and the key's variable may be empty where nobody signs.
        notes.emplace_back("deb.signature has no key_file: the package is not signed");
        return std::nullopt;
    }
    request.keyFile = std::move(*keyFile);
    return request;
}

}  // namespace bex::buildfile

#include "buildfile/model/SignatureReader.hpp"

#include <string_view>
#include <utility>

namespace bex::buildfile {

namespace {

/// In the form in which gpg prints IDs: upper case, without "0x". Nothing for what is not an ID.
std::optional<std::string> normalizedId(std::string_view text) {
    if (text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X") {
        text.remove_prefix(2);
    }
    // Short and long IDs, and fingerprints of the versions 4 and 5 of OpenPGP keys.
    if (text.size() != 8 && text.size() != 16 && text.size() != 40 && text.size() != 64) {
        return std::nullopt;
    }
    std::string id(text);
    for (char& digit : id) {
        if (digit >= 'a' && digit <= 'f') {
            digit = static_cast<char>(digit - 'a' + 'A');
        }
    }
    if (id.find_first_not_of("0123456789ABCDEF") != std::string::npos) {
        return std::nullopt;
    }
    return id;
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

void refuseOtherMethods(const Document& document, const Value* method) {
    if (method != nullptr && method->text == "dpkg-sig") {
        fail(document.file(), method->at,
             "deb.signature.method dpkg-sig is not supported, since it relies on MD5 and SHA-1; use debsign");
    }
}

}  // namespace

std::optional<SignatureRequest> readSignature(const Document& document, std::vector<std::string>& notes) {
    const Value* signature = document.inDeb("signature");
    if (signature == nullptr) {
        return std::nullopt;
    }
    SignatureRequest request;
    request.keyId = readKeyId(document, signature->find("key_id"));
    std::optional<NamedPath> keyFile = document.path(signature->find("key_file"));
    if (!keyFile) {
        // Not an error: nfpm signs only with a key, and the key's variable may be empty where nobody signs.
        notes.emplace_back("deb.signature has no key_file: the package is not signed");
        return std::nullopt;
    }
    refuseOtherMethods(document, signature->find("method"));
    request.keyFile = std::move(*keyFile);
    if (const Value* type = signature->find("type"); type != nullptr && !type->text.empty()) {
        request.member = "_gpg" + type->text;
    }
    return request;
}

}  // namespace bex::buildfile

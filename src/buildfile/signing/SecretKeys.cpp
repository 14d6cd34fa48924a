#include "buildfile/signing/SecretKeys.hpp"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "bex/stream/StreamError.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

/// A primary key or subkey.
struct SecretKey {
    bool isPrimary = false;
    bool canSign = false;
    std::string fingerprint;
};

[[noreturn]] void refuse(const std::string& reason) {
    throw stream::StreamError(stream::ErrorKind::invalidInput, reason);
}

/// The fields of a line, at least sixteen.
std::vector<std::string_view> fieldsOf(std::string_view line) {
    constexpr std::size_t least = 16;
    std::vector<std::string_view> fields;
    stream::forEachPart(line, ':', [&fields](std::string_view field) { fields.push_back(field); });
    fields.resize(std::max(fields.size(), least));
    return fields;
}

/// The places of fields are those of doc/DETAILS of GnuPG, which counts from 1.
SecretKey keyOf(const std::vector<std::string_view>& fields) {
    constexpr std::string_view unusable = "deinr";  // disabled, expired, invalid, not valid, revoked
    const bool isValid = fields[1].empty() || unusable.find(fields[1].front()) == std::string_view::npos;
    // Lower case: what this key itself can do. "#": only the public half of it is in the file.
    const bool canSign = fields[11].find('s') != std::string_view::npos && fields[14] != "#";
    return {fields[0] == "sec", isValid && canSign, ""};
}

std::vector<SecretKey> keysOf(std::string_view listing) {
    std::vector<SecretKey> keys;
    stream::forEachLine(listing, [&keys](std::string_view line) {
        const auto fields = fieldsOf(line);
        if (fields[0] == "sec" || fields[0] == "ssb") {
            keys.push_back(keyOf(fields));
        } else if (fields[0] == "fpr" && !keys.empty()) {
            keys.back().fingerprint = fields[9];
        }
    });
    return keys;
}

}  // namespace

std::string signingKeyOf(std::string_view listing, const std::string& id) {
    const std::vector<SecretKey> keys = keysOf(listing);
    if (keys.empty()) {
        refuse("it holds no secret OpenPGP key");
    }
    if (!id.empty()) {
        const auto named = std::find_if(keys.begin(), keys.end(), [&id](const SecretKey& key) {
            return stream::endsWith(key.fingerprint, id);
        });
        if (named == keys.end()) {
            refuse("it holds no secret key " + id);
        }
        if (!named->canSign) {
            refuse("its key " + id + " can't sign");
        }
        return named->fingerprint;
    }
    const auto primaries =
        std::count_if(keys.begin(), keys.end(), [](const SecretKey& key) { return key.isPrimary; });
    if (primaries > 1) {
        refuse("it holds " + std::to_string(primaries) + " keys; deb.signature.key_id must name one");
    }
    // Subkeys first: whoever has one keeps the primary key for other things.
    for (const bool isPrimary : {false, true}) {
        for (const SecretKey& key : keys) {
            if (key.isPrimary == isPrimary && key.canSign) {
                return key.fingerprint;
            }
        }
    }
    refuse("it holds no key that can sign");
}

}  // namespace bex::buildfile

#include "buildfile/signing/Signature.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <locale>
#include <memory>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>

#include "buildfile/signing/MemberDigests.hpp"
#include "buildfile/signing/SigningKey.hpp"
#include "signing/Armor.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

/// What both makers need.
struct Signing {
    SignatureRequest request;
    std::string key;                   ///< contents of the key file
    std::string file;                  ///< the build file, for messages
    std::optional<std::int64_t> time;  ///< of the package, as the build file gives it
};

class DebsignMaker : public stream::MemberMaker {
public:
    explicit DebsignMaker(const Signing& signing)
        : key_(signing.request, signing.key, "--detach-sign", signing.file), gpg_(key_.start()) {}

    void write(const char* data, std::size_t size) override { key_.feed(gpg_, {data, size}); }

    std::string finish() override {
        std::string signature = key_.finish(gpg_);
        key_.require(signing::isArmoredSignature(signature), "gpg did not print an armored signature");
        return signature;
    }

private:
    SigningKey key_;
    signing::FedProgram gpg_;  ///< stopped before its home goes
};

/// As the time of a package's members: later times than SOURCE_DATE_EPOCH become that one. Where the build file
/// gives none, the clock counts.
std::int64_t dateOf(const Signing& signing) {
    constexpr std::int64_t latest = 077777777777;  // of entries, in the eleven octal digits of a tar header
    std::int64_t date = signing.time.value_or(std::time(nullptr));
    if (const char* text = std::getenv("SOURCE_DATE_EPOCH")) {
        // The writer has refused a text that is not a number.
        date = std::min(date, stream::parseWhole<std::int64_t>(text).value_or(date));
    }
    return std::clamp(date, std::int64_t{0}, latest);
}

/// As dpkg-sig writes dates, but in UTC.
std::string dateText(std::time_t date) {
    std::tm fields{};
    gmtime_r(&date, &fields);
    std::ostringstream text;
    text.imbue(std::locale::classic());  // days and months are English, whatever the locale
    text << std::put_time(&fields, "%a %b %e %H:%M:%S %Y");
    return text.str();
}

class DpkgSigMaker : public stream::MemberMaker {
public:
    explicit DpkgSigMaker(const Signing& signing)
        : key_(signing.request, signing.key, "--clear-sign", signing.file),
          text_("Version: 4\nSigner: " + signing.request.signer + "\nDate: " + dateText(dateOf(signing)) +
                "\nRole: " + signing.request.role + "\nFiles:\n") {}

    void beginMember(const std::string& name, std::uint64_t bytes) override { digests_.begin(name, bytes); }
    void write(const char* data, std::size_t size) override { digests_.update(data, size); }

    std::string finish() override {
        text_ += digests_.finish();
        signing::FedProgram gpg = key_.start();
        key_.feed(gpg, text_);
        std::string member = key_.finish(gpg);
        key_.require(holdsText(member), "gpg did not print the digests with a signature");
        return member;
    }

private:
    /// RFC 9580, section 7: two headers, an empty line, the text, the signature. No line of ours begins with a
    /// dash, which would be escaped, or ends with a blank, which would not be signed.
    bool holdsText(std::string_view member) const {
        constexpr std::string_view begin = "-----BEGIN PGP SIGNED MESSAGE-----\nHash: SHA512\n\n";
        return member.substr(0, begin.size()) == begin && member.substr(begin.size(), text_.size()) == text_ &&
               signing::isArmoredSignature(member.substr(begin.size() + text_.size()));
    }

    SigningKey key_;
    std::string text_;  ///< to be signed
    MemberDigests digests_;
};

}  // namespace

stream::TrailingMember signatureMember(const Description& description, const std::string& key) {
    Signing signing{*description.signature, key, description.file, description.mtime};
    const std::string* maintainer = description.control.find("Maintainer");
    if (signing.request.signer.empty() && maintainer != nullptr) {
        signing.request.signer = *maintainer;
    }
    return {"_gpg" + signing.request.role, [signing]() -> std::unique_ptr<stream::MemberMaker> {
                if (signing.request.method == SignatureMethod::dpkgSig) {
                    return std::make_unique<DpkgSigMaker>(signing);
                }
                return std::make_unique<DebsignMaker>(signing);
            }};
}

}  // namespace bex::buildfile

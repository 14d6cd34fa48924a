#include "repo/verify/SuiteCheck.hpp"

#include <ctime>
#include <limits>
#include <memory>
#include <set>
#include <tuple>
#include <utility>

#include "repo/base/Failure.hpp"
#include "repo/files/ScratchCopy.hpp"
#include "repo/suite/Layout.hpp"
#include "repo/suite/PublishedSuite.hpp"
#include "signing/Process.hpp"

namespace bex::repo {

namespace {

using stream::Compression;

// The repository may be hostile, and Release files are read into memory; no real one comes near.
constexpr std::uint64_t kLongestRelease = std::uint64_t{64} << 20;
// Far longer than a signature takes: a verifier that waits for something must not hold the check for ever.
constexpr std::chrono::seconds kVerifierTime{60};
constexpr std::int64_t kClockDifference = 24 * 60 * 60;  // what a date may lie in the future

/// An index's name without the end for its compression, and that compression.
std::pair<std::string, Compression> split(const std::string& index) {
    for (const Compression compression : kIndexCompressions) {
        // kIndexCompressions ends with "none", whose suffix is empty and would fit every name.
        const std::string suffix(stream::suffixOf(compression));
        const std::size_t length = index.size() - std::min(suffix.size(), index.size());
        if (!suffix.empty() && index.compare(length, std::string::npos, suffix) == 0) {
            return {index.substr(0, length), compression};
        }
    }
    return {index, Compression::none};
}

bool isPackagesIndex(const std::string& index) {
    return index.substr(index.rfind('/') + 1) == "Packages";
}

}  // namespace

void SuiteCheck::run(std::map<std::string, PackageRecord>& packages) {
    packages_ = &packages;
    readRelease();
    // Without a Release file nothing else can be trusted or compared.
    if (!release_) {
        return;
    }
    checkDates();
    for (const auto& [index, expected] : release_->files) {
        checkIndex(index, expected);
    }
}

/// A Release file or its signature. One that is too long is a finding, and nothing.
std::optional<std::string> SuiteCheck::readWhole(const std::string& name) {
    try {
        return files_.read(below(name), kLongestRelease);
    } catch (const StreamError& error) {
        if (error.kind() != ErrorKind::limitExceeded) {
            throw;
        }
        findings_.error("release", below(name), error.record().reason);
        return std::nullopt;
    }
}

void SuiteCheck::readRelease() {
    const std::size_t before = findings_.all().size();
    const auto inRelease = readWhole("InRelease");
    const auto plain = readWhole("Release");
    if (findings_.all().size() != before) {
        return;  // one is too long to be read
    }
    if (!inRelease && !plain) {
        findings_.error("release-missing", path_, "has neither InRelease nor Release");
        return;
    }
    std::string name = "Release";
    std::string text;
    // apt takes InRelease where it exists. Release and Release.gpg are the older form of the same and have to
    // agree.
    if (inRelease) {
        name = "InRelease";
        text = signedText(*inRelease);
        if (text.empty()) {
            findings_.error("release", below(name), "holds no signed text");
            return;
        }
        checkSignature(*inRelease, "");
    } else {
        text = *plain;
        findings_.warning("unsigned", below("Release"), "is not signed: there is no InRelease");
    }
    if (inRelease && plain && *plain != text) {
        findings_.error("release-differs", below("Release"), "is not the text of InRelease");
    }
    const auto detached = readWhole("Release.gpg");
    if (plain && detached) {
        checkSignature(*plain, *detached);
    }
    try {
        release_ = Release::parse(text, below(name));
    } catch (const StreamError& error) {
        findings_.error("release", below(name), error.record().reason);
    }
}

void SuiteCheck::checkSignature(const std::string& signedFile, const std::string& detached) {
    if (check_.keyring.empty()) {
        return;
    }
    // gpgv(1) gets the bytes that were read here: a file read again may be another one, and a server's has no
    // path.
    const ScratchCopy content(signedFile);
    const ScratchCopy signature(detached);
    // Only the given keyring counts; the user's own keys say nothing about this repository.
    std::vector<std::string> command = {"gpgv", "--quiet", "--keyring", check_.keyring};
    if (!detached.empty()) {
        command.push_back(signature.path());
    }
    command.push_back(content.path());
    try {
        signing::outputOf(command, "", kVerifierTime);
    } catch (const StreamError& error) {
        findings_.error("signature", below(detached.empty() ? "InRelease" : "Release.gpg"), error.record().reason);
    }
}

void SuiteCheck::checkDates() {
    // The clock and not SOURCE_DATE_EPOCH: the question is whether clients accept the suite today.
    const std::int64_t now = std::time(nullptr);
    for (const char* field : {"Date", "Valid-Until"}) {
        const std::string value = release_->field(field);
        try {
            const bool isUntil = std::string_view(field) == "Valid-Until";
            if (value.empty() && isUntil) {
                continue;
            }
            const std::int64_t time = parseDate(value, below("Release"));
            if (isUntil && time < now) {
                findings_.error("expired", below("Release"), "is valid until " + value + " only");
            } else if (!isUntil && time > now + kClockDifference) {
                findings_.warning("release-date", below("Release"), "is of the future: " + value);
            }
        } catch (const StreamError& error) {
            findings_.error("release", below("Release"), error.record().reason);
        }
    }
}

/// Compares a file with what Release says of it. False where it is not there or another one.
bool SuiteCheck::isAsListed(const std::string& path, const IndexedFile& found, const IndexedFile& expected) {
    if (found == expected) {
        return true;
    }
    std::string what = std::to_string(found.size) + " bytes and the SHA-256 " + found.sha256;
    if (found.size > expected.size) {
        what = "more than " + std::to_string(expected.size) + " bytes";
    }
    findings_.error("index-digest", path,
                    "has " + what + ", but " + std::to_string(expected.size) + " and " + expected.sha256 +
                        " in the Release file");
    return false;
}

/// Opens an index for its sum; null, with a finding unless it may be absent, where it is not there.
std::shared_ptr<SummedSource::Sum> SuiteCheck::openIndex(const std::string& path, bool mayBeAbsent) {
    auto sum = SummedSource::open(files_, path);
    if (sum == nullptr && !mayBeAbsent) {
        findings_.error("index-missing", path, "is in the Release file, but not there");
    }
    return sum;
}

void SuiteCheck::checkIndex(const std::string& index, const IndexedFile& expected) {
    // What a compressed index unpacks to may be listed without being there.
    bool mayBeAbsent = false;
    for (const Compression other : kIndexCompressions) {
        const std::string packed = index + std::string(stream::suffixOf(other));
        mayBeAbsent = mayBeAbsent || (packed != index && release_->files.count(packed) != 0);
    }
    if (const auto sum = openIndex(below(index), mayBeAbsent)) {
        checkContents(index, expected, sum);
    }
    // Clients read the by-hash name then; that the usual one is right does not help them.
    if (release_->field("Acquire-By-Hash") == "yes") {
        const std::string byHash = below(Layout::byHash(index, expected.sha256));
        if (const auto sum = openIndex(byHash, mayBeAbsent)) {
            isAsListed(byHash, SummedSource::finish(*sum, expected.size), expected);
        }
    }
}

/// Reads the index once, and reports what is wrong with its contents only where it is the one that Release means.
void SuiteCheck::checkContents(const std::string& index, const IndexedFile& expected,
                               const std::shared_ptr<SummedSource::Sum>& sum) {
    const auto [plain, compression] = split(index);
    const auto listed = release_->files.find(plain);
    UnpackedIndex unpacked;
    std::string damage;
    try {
        const auto input = stream::openInput(std::make_unique<SummedSource>(sum));
        std::uint64_t most = std::numeric_limits<std::uint64_t>::max() - 1;
        if (listed != release_->files.end()) {
            most = listed->second.size;
        }
        unpacked = unpack({*input.stream, compression, below(index), isPackagesIndex(plain), most, check_.limits});
    } catch (const StreamError& error) {
        // A connection or a disk that fails says nothing about the repository: the check ends.
        if (error.kind() == ErrorKind::inputOutput) {
            throw;
        }
        damage = error.record().reason;
    }
    if (!isAsListed(below(index), SummedSource::finish(*sum, expected.size), expected)) {
        return;
    }
    if (!damage.empty()) {
        findings_.error("index-damaged", below(index), damage);
        return;
    }
    // Clients check what they unpacked as well as what they fetched.
    if (listed != release_->files.end() && !(listed->second == unpacked.plain)) {
        findings_.error("index-differs", below(index), "does not unpack to what Release says of " + plain);
    }
    checkStanzas(index, unpacked);
}

void SuiteCheck::checkStanzas(const std::string& index, const UnpackedIndex& unpacked) {
    std::set<std::tuple<std::string, std::string, std::string>> seen;
    for (const PackageRecord& record : unpacked.records) {
        const std::string what = record.package + " " + record.version + " " + record.architecture;
        if (!seen.insert({record.package, record.version, record.architecture}).second) {
            findings_.error("stanza-twice", below(index), "lists " + what + " twice");
        }
        // An index for "all" alone may exist, but packages for it are in each architecture's index, too.
        if (record.architecture != "all" && index.find("binary-" + record.architecture + "/") == index.npos) {
            findings_.error("stanza-architecture", below(index), "lists " + what);
        }
        // Each package's file is checked once, however many indexes and suites list it.
        const auto [other, isNew] = packages_->emplace(record.filename, record);
        if (!isNew && other->second.digests.sha256 != record.digests.sha256) {
            findings_.error("stanza-differs", below(index),
                            "has another SHA-256 for " + quoted(record.filename) + " than another index");
        }
    }
    if (!unpacked.stanzaFault.empty()) {
        findings_.error("stanza", below(index), unpacked.stanzaFault);
    }
}

}  // namespace bex::repo

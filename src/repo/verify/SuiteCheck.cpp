#include "repo/verify/SuiteCheck.hpp"

#include <ctime>
#include <set>
#include <tuple>
#include <utility>

#include "bex/repo/RecordReader.hpp"
#include "repo/base/Failure.hpp"
#include "repo/base/Hasher.hpp"
#include "repo/files/Compressed.hpp"
#include "repo/files/ScratchCopy.hpp"
#include "repo/publish/Process.hpp"
#include "repo/suite/Layout.hpp"
#include "repo/suite/PublishedSuite.hpp"

namespace bex::repo {

namespace {

using stream::Compression;

// The repository may be hostile, and these files are read into memory; no real one comes near.
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

void SuiteCheck::readRelease() {
    const auto inRelease = files_.read(below("InRelease"), kLongestRelease);
    const auto plain = files_.read(below("Release"), kLongestRelease);
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
    const auto detached = files_.read(below("Release.gpg"), kLongestRelease);
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
        outputOf(command, "", kVerifierTime);
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

std::optional<std::string> SuiteCheck::readIndex(const std::string& path, const IndexedFile& expected,
                                                 bool mayBeAbsent) {
    // The limit bounds the memory; below it a wrong size is a finding and does not end the check.
    auto bytes = files_.read(path, std::max(expected.size, kLongestRelease));
    if (!bytes) {
        if (!mayBeAbsent) {
            findings_.error("index-missing", path, "is in the Release file, but not there");
        }
        return std::nullopt;
    }
    if (bytes->size() != expected.size || sha256Of(*bytes) != expected.sha256) {
        findings_.error("index-digest", path,
                        "has " + std::to_string(bytes->size()) + " bytes and the SHA-256 " + sha256Of(*bytes) +
                            ", but " + std::to_string(expected.size) + " and " + expected.sha256 +
                            " in the Release file");
        return std::nullopt;
    }
    return bytes;
}

void SuiteCheck::checkIndex(const std::string& index, const IndexedFile& expected) {
    const auto [plain, compression] = split(index);
    // What a compressed index unpacks to may be listed without being there.
    bool mayBeAbsent = false;
    for (const Compression other : kIndexCompressions) {
        const std::string packed = index + std::string(stream::suffixOf(other));
        mayBeAbsent = mayBeAbsent || (packed != index && release_->files.count(packed) != 0);
    }
    const auto bytes = readIndex(below(index), expected, mayBeAbsent);
    // Clients read the by-hash name then; that the usual one is right does not help them.
    if (release_->field("Acquire-By-Hash") == "yes") {
        readIndex(below(Layout::byHash(index, expected.sha256)), expected, mayBeAbsent);
    }
    if (!bytes) {
        return;
    }
    try {
        const std::string text = decompressed(*bytes, compression, below(index));
        // Clients check what they unpacked as well as what they fetched.
        const auto listed = release_->files.find(plain);
        if (listed != release_->files.end() &&
            (listed->second.size != text.size() || listed->second.sha256 != sha256Of(text))) {
            findings_.error("index-differs", below(index), "does not unpack to what Release says of " + plain);
        }
        if (isPackagesIndex(plain)) {
            checkStanzas(index, text);
        }
    } catch (const StreamError& error) {
        findings_.error("index-damaged", below(index), error.record().reason);
    }
}

void SuiteCheck::checkStanzas(const std::string& index, const std::string& text) {
    std::set<std::tuple<std::string, std::string, std::string>> seen;
    RecordReader reader = RecordReader::ofText(text, below(index));
    try {
        for (PackageRecord record; reader.next(record);) {
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
    } catch (const StreamError& error) {
        findings_.error("stanza", below(index), error.record().reason);
    }
}

}  // namespace bex::repo

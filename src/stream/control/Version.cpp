#include "bex/stream/Version.hpp"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/control/FieldSyntax.hpp"
#include "stream/control/FieldValues.hpp"

namespace bex::stream {

namespace {

/// The parts of "[epoch:]upstream[-revision]" (deb-version(7)), as views of the text.
struct Parts {
    std::uint32_t epoch = 0;
    std::string_view upstream;
    std::string_view revision;
    /// Why the text is not a version, as the rest of a sentence about it, such as "must begin with a digit";
    /// empty when it is one. The parts hold only then.
    std::string fault;
};

/// dpkg keeps the epoch in an int.
constexpr std::uint32_t kLargestEpoch = std::numeric_limits<std::int32_t>::max();

constexpr bool mayStandInRevision(char c) {
    return isAlphanumeric(c) || c == '.' || c == '+' || c == '~';
}

/// A colon is allowed here only because the first one of a version ends its epoch.
constexpr bool mayStandInUpstream(char c) {
    return mayStandInRevision(c) || c == '-' || c == ':';
}

/// Digits alone: no sign, no blank. An empty epoch, as in ":1", is refused.
std::string readEpoch(std::string_view text, std::uint32_t& epoch) {
    if (text.empty() || !consistsOf(text, isDigit)) {
        return "must have a number as its epoch";
    }
    // Digits alone fail only by being too many.
    epoch = parseWhole<std::uint32_t>(text).value_or(kLargestEpoch + 1);
    if (epoch > kLargestEpoch) {
        return "must have an epoch of at most " + std::to_string(kLargestEpoch);
    }
    return {};
}

std::string upstreamFault(std::string_view upstream) {
    if (upstream.empty()) {
        return "must have an upstream version";
    }
    if (!isDigit(upstream.front())) {
        return "must begin with a digit";
    }
    return faultUnless(consistsOf(upstream, mayStandInUpstream),
                       "may hold only letters, digits and . + - ~ (: after an epoch)");
}

std::string revisionFault(std::string_view revision) {
    if (revision.empty()) {
        return "must not end with a hyphen";
    }
    return faultUnless(consistsOf(revision, mayStandInRevision),
                       "may hold only letters, digits and . + ~ in its revision");
}

/// Takes a version apart. Refuses what dpkg refuses in a control file.
Parts partsOf(std::string_view text) {
    Parts version;
    // The first colon: deb-version(7) ends the epoch there, and further colons belong to the upstream version.
    if (const std::size_t colon = text.find(':'); colon != std::string_view::npos) {
        version.fault = readEpoch(text.substr(0, colon), version.epoch);
        text.remove_prefix(colon + 1);
    }
    // The last hyphen: an upstream version may hold others.
    const std::size_t hyphen = text.rfind('-');
    // npos where there is no hyphen: the substring is then all of it.
    version.upstream = text.substr(0, hyphen);
    // The first fault in the order of the parts is the one that is shown.
    if (version.fault.empty()) {
        version.fault = upstreamFault(version.upstream);
    }
    if (hyphen != std::string_view::npos) {
        version.revision = text.substr(hyphen + 1);
        if (version.fault.empty()) {
            version.fault = revisionFault(version.revision);
        }
    }
    return version;
}

/// Where a part's next character sorts among those that are not digits: "~" before the end of the part, which a
/// digit counts as too, then letters, then everything else.
int weightOf(std::string_view part) {
    if (part.empty() || isDigit(part.front())) {
        return 0;
    }
    if (part.front() == '~') {
        return -1;
    }
    const int code = static_cast<unsigned char>(part.front());
    if (isAlphanumeric(part.front())) {
        return code;
    }
    return code + 256;  // beyond every letter
}

/// Takes what is not a digit off the front of both, up to the first difference, and returns that.
int compareText(std::string_view& a, std::string_view& b) {
    // Equal weights other than 0 are equal characters, so neither text can end before the other.
    // A digit ends the text as the end of the part does: both weigh 0.
    int difference = weightOf(a) - weightOf(b);
    while (difference == 0 && weightOf(a) != 0) {
        a.remove_prefix(1);
        b.remove_prefix(1);
        difference = weightOf(a) - weightOf(b);
    }
    return difference;
}

/// The number at the front, without its leading zeros: of any length, so compared as text.
std::string_view takeNumber(std::string_view& part) {
    // A number of zeros alone becomes the empty text, and so does a missing number: deb-version(7) compares them
    // alike.
    part.remove_prefix(std::min(part.find_first_not_of('0'), part.size()));
    const auto length = std::find_if_not(part.begin(), part.end(), isDigit) - part.begin();
    const std::string_view number = part.substr(0, static_cast<std::size_t>(length));
    part.remove_prefix(number.size());
    return number;
}

int compareNumbers(std::string_view& a, std::string_view& b) {
    const std::string_view numberA = takeNumber(a);
    const std::string_view numberB = takeNumber(b);
    // Without leading zeros, a longer number is a larger one.
    if (numberA.size() != numberB.size()) {
        return numberA.size() < numberB.size() ? -1 : 1;
    }
    return numberA.compare(numberB);
}

int compareParts(std::string_view a, std::string_view b) {
    // Each round takes something off one of the parts, or finds a difference.
    int difference = 0;
    while (difference == 0 && !(a.empty() && b.empty())) {
        difference = compareText(a, b);
        if (difference == 0) {
            difference = compareNumbers(a, b);
        }
    }
    return difference;
}

}  // namespace

std::string versionFault(std::string_view value) {
    return partsOf(value).fault;
}

Version Version::parse(std::string_view text) {
    const Parts parts = partsOf(text);
    if (!parts.fault.empty()) {
        throw invalidInput("", "the version " + quoted(text) + ' ' + parts.fault);
    }
    Version version;
    // Copied out of the text, which the caller need not keep.
    version.epoch_ = parts.epoch;
    version.upstream_ = parts.upstream;
    version.revision_ = parts.revision;
    return version;
}

std::string Version::format() const {
    std::string text;
    // An epoch of 0 is needed where the upstream version has a colon: otherwise its front would be read as an
    // epoch.
    if (epoch_ != 0 || upstream_.find(':') != std::string::npos) {
        text = std::to_string(epoch_) + ':';
    }
    text += upstream_;
    if (!revision_.empty()) {
        text.append("-").append(revision_);
    }
    return text;
}

int Version::compare(const Version& other) const noexcept {
    // deb-version(7): the epoch decides first.
    if (epoch_ != other.epoch_) {
        return epoch_ < other.epoch_ ? -1 : 1;
    }
    // A missing revision compares as "0" does.
    int difference = compareParts(upstream_, other.upstream_);
    if (difference == 0) {
        difference = compareParts(revision_, other.revision_);
    }
    return difference;
}

}  // namespace bex::stream

#include "bex/stream/Version.hpp"

#include <algorithm>
#include <cstddef>

#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Quoted.hpp"
#include "stream/control/VersionText.hpp"

namespace bex::stream {

namespace {

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

Version Version::parse(std::string_view text) {
    const VersionText parts = readVersion(text);
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

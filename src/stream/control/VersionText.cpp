#include "stream/control/VersionText.hpp"

#include <cstddef>
#include <limits>

#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

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
    if (!consistsOf(upstream, mayStandInUpstream)) {
        return "may hold only letters, digits and . + - ~ (: after an epoch)";
    }
    return {};
}

std::string revisionFault(std::string_view revision) {
    if (revision.empty()) {
        return "must not end with a hyphen";
    }
    if (!consistsOf(revision, mayStandInRevision)) {
        return "may hold only letters, digits and . + ~ in its revision";
    }
    return {};
}

}  // namespace

VersionText readVersion(std::string_view text) {
    VersionText version;
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

}  // namespace bex::stream

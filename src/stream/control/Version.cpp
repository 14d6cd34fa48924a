#include "stream/control/Version.hpp"

#include <cstddef>
#include <cstdint>
#include <limits>

#include "stream/base/Ascii.hpp"

namespace bex::stream {

namespace {

/// dpkg keeps the epoch in an int.
constexpr std::uint64_t maximumEpoch = std::numeric_limits<std::int32_t>::max();

constexpr bool mayStandInRevision(char c) {
    return isAlphanumeric(c) || c == '.' || c == '+' || c == '~';
}

/// Colons reach this only behind an epoch, where they are allowed.
constexpr bool mayStandInUpstream(char c) {
    return mayStandInRevision(c) || c == '-' || c == ':';
}

std::string epochFault(std::string_view epoch) {
    if (epoch.empty() || !consistsOf(epoch, isDigit)) {
        return "must have a number as its epoch";
    }
    std::uint64_t number = 0;
    for (const char digit : epoch) {
        number = 10 * number + static_cast<std::uint64_t>(digit - '0');
        if (number > maximumEpoch) {
            return "must have an epoch of at most " + std::to_string(maximumEpoch);
        }
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
    return consistsOf(upstream, mayStandInUpstream)
               ? ""
               : "may hold only letters, digits and . + - ~ (: after an epoch)";
}

std::string revisionFault(std::string_view revision) {
    if (revision.empty()) {
        return "must not end with a hyphen";
    }
    return consistsOf(revision, mayStandInRevision) ? ""
                                                    : "may hold only letters, digits and . + ~ in its revision";
}

}  // namespace

std::string versionFault(std::string_view version) {
    if (const std::size_t colon = version.find(':'); colon != std::string_view::npos) {
        if (std::string fault = epochFault(version.substr(0, colon)); !fault.empty()) {
            return fault;
        }
        version.remove_prefix(colon + 1);
    }
    const std::size_t hyphen = version.rfind('-');
    if (std::string fault = upstreamFault(version.substr(0, hyphen)); !fault.empty()) {
        return fault;
    }
    return hyphen == std::string_view::npos ? "" : revisionFault(version.substr(hyphen + 1));
}

}  // namespace bex::stream

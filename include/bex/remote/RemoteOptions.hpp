#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace bex::remote {

/// How a server is asked, and how much it may send.
struct RemoteOptions {
    /// Header fields of every request, "Name: value". Sent to the URL's own server alone, as credentials are: not
    /// to another scheme, host or port that a redirect leads to.
    std::vector<std::string> headers;
    bool netrc = false;  ///< take user and password from ~/.netrc where the URL has none
    /// PEM file of the certificates to trust; empty: the system's.
    std::string certificates;
    /// A server that sends fewer than 100 bytes a second over so many seconds of waiting is given up; at least 1.
    unsigned timeoutSeconds = 30;
    /// Bytes of bodies that may be received, all requests together.
    std::uint64_t maxBytes = std::numeric_limits<std::uint64_t>::max();
    /// Requests that may be sent, redirected ones counted: a package cannot ask for endless small ranges.
    std::uint64_t maxRequests = 1000;
};

}  // namespace bex::remote

#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace bex::remote {

/// How requests are made, and how much a server may send.
struct RemoteOptions {
    /// Header fields of every request, "Name: value". Like credentials, they are sent only to the scheme, host
    /// and port of the URL, not to those of a redirect.
    std::vector<std::string> headers;
    bool netrc = false;  ///< take user and password from ~/.netrc if the URL has none
    /// PEM file of the certificates to trust; empty: those of the system.
    std::string certificates;
    /// Fail if a server sends fewer than 100 bytes a second during this many seconds of waiting; at least 1.
    unsigned timeoutSeconds = 30;
    /// Bytes of bodies that may be received by all requests together.
    std::uint64_t maxBytes = std::numeric_limits<std::uint64_t>::max();
    /// Requests that may be sent, including redirected ones: a package must not cause endless small ones.
    std::uint64_t maxRequests = 1000;
};

}  // namespace bex::remote

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "bex/remote/RemoteOptions.hpp"
#include "bex/stream/Export.hpp"
#include "bex/stream/ForwardSource.hpp"
#include "bex/stream/Source.hpp"

namespace bex::remote {

/// The URL without "user:password@". A text that is not a URL is returned unchanged.
inline std::string withoutUser(const std::string& url) {
    const std::size_t scheme = url.find("://");
    if (scheme == std::string::npos) {
        return url;
    }
    const std::size_t begin = scheme + 3;
    const std::size_t at = url.substr(0, url.find_first_of("/?#", begin)).rfind('@');
    if (at == std::string::npos) {
        return url;
    }
    return url.substr(0, begin) + url.substr(at + 1);
}

/// The requests and bytes so far.
struct Traffic {
    std::uint64_t requests = 0;  ///< including redirected ones
    std::uint64_t bytes = 0;     ///< of bodies
};

/// A file on a web server (RFC 9110), read by ranges or from front to back. Nothing is sent before the first
/// reading. Redirects are followed, but not from https to http; later requests go to the target of the first.
///
/// As a Source it sends range requests. The first one is for the bytes 0 to 65535, and also gives the size. The
/// front stays in memory, and so do the newest 16 MiB of later ranges. The server must support ranges.
/// Ranges that willRead() announces are fetched ahead: those that touch are joined, none is larger than 4 MiB, and
/// two are under way at a time.
///
/// All reads are of one version of the file: if a strong entity tag is known, requests are conditional (If-Range),
/// and another tag, modification time or size is an error.
///
/// Failures are StreamErrors that name the URL, without user and password. Their codes: `remote-url`
/// (`invalidInput`), `remote-connection`, `remote-tls`, `remote-timeout`, `remote-redirect`, `remote-status`,
/// `remote-encoding`, `remote-range`, `remote-length`, `remote-changed` (all `inputOutput`), `limit`
/// (`limitExceeded`, with "maxBytes" or "maxRequests").
///
/// Several threads may call all functions at once; they wait for each other.
class RemoteFile : public stream::Source {
public:
    /// The URL without user, password and fragment.
    virtual const std::string& name() const noexcept = 0;

    /// Reads the whole file by one request without a range, which every server supports. May be called again. The
    /// source may outlive this object.
    virtual std::unique_ptr<stream::ForwardSource> download() = 0;

    virtual Traffic traffic() const = 0;
};

/// Throws StreamError (`invalidInput`) for a URL or a header that cannot be sent: another scheme than http and
/// https, control characters.
BEX_EXPORT std::shared_ptr<RemoteFile> openUrl(const std::string& url, const RemoteOptions& options = {});

}  // namespace bex::remote

/// openUrl() under a name that dlsym(3) finds, for programs that load the library only when they need it.
extern "C" BEX_EXPORT void bexOpenUrl(const std::string& url, const bex::remote::RemoteOptions& options,
                                      std::shared_ptr<bex::remote::RemoteFile>& file);

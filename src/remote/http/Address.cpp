#include "remote/http/Address.hpp"

#include <algorithm>
#include <new>

#include "bex/remote/RemoteFile.hpp"
#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"
#include "remote/http/Curl.hpp"
#include "remote/http/Failure.hpp"

namespace bex::remote {

namespace {

UrlHandle newUrl() {
    UrlHandle handle(curl_url());
    if (!handle) {
        throw std::bad_alloc();
    }
    return handle;
}

/// The part, or "" where the URL has none or libcurl refuses to decode it.
std::string partOf(const UrlHandle& handle, CURLUPart part, unsigned flags = 0) {
    char* text = nullptr;
    if (curl_url_get(handle.get(), part, &text, flags) != CURLUE_OK) {
        return "";
    }
    const CurlText owner(text);
    return text;
}

void remove(const UrlHandle& handle, CURLUPart part) {
    // Removing a part cannot fail.
    static_cast<void>(curl_url_set(handle.get(), part, nullptr, 0));
}

bool hasControlCharacter(const std::string& text) {
    return std::any_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

Address addressOf(const UrlHandle& handle) {
    Address address;
    // Decoded: as options of their own, libcurl takes user and password as they are.
    address.user = partOf(handle, CURLUPART_USER, CURLU_URLDECODE);
    address.password = partOf(handle, CURLUPART_PASSWORD, CURLU_URLDECODE);
    const std::string scheme = partOf(handle, CURLUPART_SCHEME);
    address.secure = scheme == "https";
    // Scheme, host and port (RFC 6454): what decides whether a redirect stays with the server that gets
    // credentials.
    address.origin =
        scheme + "://" + partOf(handle, CURLUPART_HOST) + ":" + partOf(handle, CURLUPART_PORT, CURLU_DEFAULT_PORT);
    // The URL is shown in messages and kept in logs, so that it must have no password. A fragment is never sent.
    for (const CURLUPart part : {CURLUPART_USER, CURLUPART_PASSWORD, CURLUPART_FRAGMENT}) {
        remove(handle, part);
    }
    address.url = partOf(handle, CURLUPART_URL);
    return address;
}

/// What is wrong with the URL that was set, or "".
std::string faultOf(const UrlHandle& handle, const std::string& text, CURLUcode status) {
    // Before libcurl's own answer, which differs between its versions: a line break would end the request line.
    if (hasControlCharacter(text)) {
        return "the URL has a control character";
    }
    if (status != CURLUE_OK) {
        return std::string("not a URL that can be asked for: ") + curl_url_strerror(status);
    }
    const std::string scheme = partOf(handle, CURLUPART_SCHEME);
    if (scheme != "http" && scheme != "https") {
        return "the URL's scheme is " + stream::escapeForDisplay(scheme) + "; http and https are read";
    }
    return "";
}

// Blanks and bytes beyond ASCII are encoded rather than refused, as browsers do.
// Unknown schemes are parsed, so that faultOf() can name them.
constexpr unsigned kTolerant = CURLU_URLENCODE | CURLU_NON_SUPPORT_SCHEME;

}  // namespace

Address parseUrl(const std::string& text) {
    const UrlHandle handle = newUrl();
    const CURLUcode status = curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), kTolerant);
    const std::string fault = faultOf(handle, text, status);
    if (!fault.empty()) {
        throw failure(withoutUser(text), "remote-url", fault, stream::ErrorKind::invalidInput);
    }
    return addressOf(handle);
}

Address redirected(const Address& from, const std::string& location) {
    const UrlHandle handle = newUrl();
    // First the old URL: a Location may be relative to it (RFC 9110, section 10.2.2).
    CURLUcode status = curl_url_set(handle.get(), CURLUPART_URL, from.url.c_str(), 0);
    if (status == CURLUE_OK) {
        status = curl_url_set(handle.get(), CURLUPART_URL, location.c_str(), kTolerant);
    }
    const std::string fault = faultOf(handle, location, status);
    const std::string where = "redirected to \"" + stream::escapeForDisplay(location) + "\": ";
    if (!fault.empty()) {
        throw failure(from.url, "remote-redirect", where + fault);
    }
    Address to = addressOf(handle);
    // Whoever asked for https must not get bytes that anybody on the way could have changed.
    if (from.secure && !to.secure) {
        throw failure(from.url, "remote-redirect", where + "from https to http");
    }
    return to;
}

}  // namespace bex::remote

#include "remote/http/Client.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "bex/stream/Versions.hpp"
#include "remote/http/Failure.hpp"
#include "stream/base/Ascii.hpp"

namespace bex::remote {

using std::chrono::steady_clock;

namespace {

// Enough for mirrors and content networks; a circle of redirects ends.
constexpr unsigned kMostRedirects = 10;
// A range up to this size is buffered whole, so that it comes in while nobody waits for it.
constexpr std::uint64_t kMostRangeBuffered = std::uint64_t{4} << 20;
// On average over the time limit: a server that sends a byte now and then would hold the caller for ever.
constexpr std::uint64_t kLeastBytesPerSecond = 100;

/// Why a transfer failed, as a stable code.
const char* codeOf(CURLcode result) {
    switch (result) {
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
            return "remote-tls";
        case CURLE_OPERATION_TIMEDOUT:
            return "remote-timeout";
        case CURLE_PARTIAL_FILE:
            return "remote-length";
        default:
            return "remote-connection";
    }
}

/// 304 and others of their hundred name no other place; without a Location there is nowhere to go.
bool isRedirect(const Response& response) {
    constexpr std::array<int, 5> statuses = {301, 302, 303, 307, 308};
    return std::find(statuses.begin(), statuses.end(), response.status()) != statuses.end() &&
           !response.field("location").empty();
}

std::size_t mostBufferedOf(const Request& request) {
    if (!request.range) {
        return kMostBuffered;
    }
    return static_cast<std::size_t>(std::min(request.range->size(), kMostRangeBuffered));
}

std::string userAgent() {
    return "bex/" + stream::libraryVersions().front().version;
}

/// RFC 9110, section 5.6.2.
bool isTokenCharacter(char c) {
    return stream::isAlphanumeric(c) || std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

bool isValueCharacter(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return c == '\t' || (byte >= 0x20 && byte != 0x7f);
}

}  // namespace

Client::Client(const std::string& url, RemoteOptions options)
    : options_(std::move(options)), first_(parseUrl(url)), current_(first_) {
    // Before anything is sent.
    checkHeaders();
    prepareCurl();
    multi_.reset(curl_multi_init());
    if (!multi_) {
        throw std::bad_alloc();
    }
}

/// A line break in a value would be another field. The value may be a secret, so that no message shows it.
void Client::checkHeaders() const {
    for (const auto& header : options_.headers) {
        const std::size_t colon = std::min(header.find(':'), header.size());
        const std::string_view name = std::string_view(header).substr(0, colon);
        if (name.empty() || colon == header.size() || !stream::consistsOf(name, isTokenCharacter)) {
            throw failure(this->name(), "remote-header", "a header does not begin with a name and a colon",
                          stream::ErrorKind::invalidInput);
        }
        if (!stream::consistsOf(header, isValueCharacter)) {
            throw failure(this->name(), "remote-header",
                          "the header " + std::string(name) + " has a control character",
                          stream::ErrorKind::invalidInput);
        }
    }
}

/// Only for the server that the user named: a redirect must not carry them elsewhere.
void Client::addCredentials(Transfer& transfer) const {
    if (current_.origin != first_.origin) {
        return;
    }
    for (const auto& header : options_.headers) {
        transfer.addHeader(header);
    }
    if (options_.netrc) {
        set(transfer.handle(), CURLOPT_NETRC, static_cast<long>(CURL_NETRC_OPTIONAL));
    }
    if (!first_.user.empty()) {
        set(transfer.handle(), CURLOPT_USERNAME, first_.user.c_str());
        set(transfer.handle(), CURLOPT_PASSWORD, first_.password.c_str());
    }
}

std::unique_ptr<Transfer> Client::send(const Request& request) {
    // Counts redirects, too.
    if (requests_ >= options_.maxRequests) {
        throw limitFailure(name(), "maxRequests",
                           "more than " + std::to_string(options_.maxRequests) + " requests would be needed");
    }
    ++requests_;
    auto transfer = std::make_unique<Transfer>(multi_.get(), current_.url, received_, mostBufferedOf(request));
    addCredentials(*transfer);
    // Ranges count the bytes of what is sent (RFC 9110, section 14): an encoding would give other offsets.
    transfer->addHeader("Accept-Encoding: identity");
    set(transfer->handle(), CURLOPT_USERAGENT, userAgent().c_str());
    if (!options_.certificates.empty()) {
        set(transfer->handle(), CURLOPT_CAINFO, options_.certificates.c_str());
    }
    if (request.range) {
        transfer->addHeader("Range: bytes=" + std::to_string(request.range->first) + "-" +
                            std::to_string(request.range->last));
    }
    // Where the file has changed, the server sends all of it (RFC 9110, section 13.1.5), and that is noticed as a
    // change.
    if (!request.ifRange.empty()) {
        transfer->addHeader("If-Range: " + request.ifRange);
    }
    transfer->start();
    return transfer;
}

void Client::awaitAnswer(std::unique_ptr<Transfer>& transfer, const Request& request) {
    for (unsigned redirects = 0;; ++redirects) {
        await(*transfer, [&] { return transfer->response().complete(); });
        if (!isRedirect(transfer->response())) {
            return;
        }
        if (redirects == kMostRedirects) {
            throw failure(name(), "remote-redirect", "more than " + std::to_string(kMostRedirects) + " redirects");
        }
        // Kept for later requests, which then need no redirect.
        current_ = redirected(current_, transfer->response().field("location"));
        transfer = send(request);
    }
}

void Client::awaitBytes(Transfer& transfer) {
    if (transfer.buffered() == 0) {
        transfer.resume();
    }
    // Both conditions: at the end of the transfer there may be nothing left to wait for.
    await(transfer,
          [&] { return transfer.buffered() > 0 || (transfer.finished() && transfer.result() == CURLE_OK); });
}

template <typename Condition>
void Client::await(const Transfer& transfer, Condition reached) {
    // The condition comes before the end: a transfer may have ended with bytes in its buffer.
    while (!reached()) {
        if (transfer.finished()) {
            throw failure(name(), codeOf(transfer.result()), transfer.reason());
        }
        work();
        if (!reached() && !transfer.finished()) {
            rest();
        }
    }
}

/// Takes what has come and sends what can be sent, without waiting.
void Client::work() {
    int running = 0;
    if (curl_multi_perform(multi_.get(), &running) != CURLM_OK) {
        throw std::bad_alloc();  // The other reasons are mistakes of the caller.
    }
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(multi_.get(), &left)) {
        char* transfer = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);  // Fails for no handle of ours.
        // Throws what a callback caught, since no exception may pass through libcurl.
        reinterpret_cast<Transfer*>(transfer)->finish(message->data.result);
    }
    // Checked between two steps of libcurl, so that one step may go beyond the limit.
    if (received_.bodyBytes > options_.maxBytes) {
        throw limitFailure(name(), "maxBytes",
                           "more than " + std::to_string(options_.maxBytes) + " bytes would be received");
    }
}

/// Waits for the server, whose patience is counted in waiting alone: a caller may take its time.
void Client::rest() {
    const std::chrono::seconds timeout(std::max(options_.timeoutSeconds, 1U));
    if (waited_ >= timeout) {
        const auto seconds = static_cast<std::uint64_t>(timeout.count());
        const std::uint64_t came = received_.bytes - receivedBefore_;
        if (came < seconds * kLeastBytesPerSecond) {
            throw failure(
                name(), "remote-timeout",
                "the server sent " + std::to_string(came) + " bytes in " + std::to_string(seconds) + " seconds");
        }
        // Enough came: the time begins again.
        waited_ = {};
        receivedBefore_ = received_.bytes;
    }
    const auto begin = steady_clock::now();
    const auto most = std::chrono::duration_cast<std::chrono::milliseconds>(timeout - waited_).count() + 1;
    curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(std::min<long long>(most, 1000)), nullptr);
    waited_ += steady_clock::now() - begin;
}

}  // namespace bex::remote

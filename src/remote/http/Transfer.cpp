#include "remote/http/Transfer.hpp"

#include <algorithm>
#include <new>
#include <utility>

#include "bex/stream/Escape.hpp"

namespace bex::remote {

namespace {

constexpr std::size_t kReceiveBytes = std::size_t{128} << 10;
/// Servers send some hundred bytes of header fields.
constexpr std::uint64_t kMostHeaderBytes = std::uint64_t{256} << 10;

}  // namespace

Transfer::Transfer(CURLM* multi, const std::string& url, Received& received, std::size_t mostBuffered)
    : multi_(multi), received_(received), mostBuffered_(mostBuffered), easy_(curl_easy_init()) {
    if (!easy_) {
        throw std::bad_alloc();
    }
    CURL* const easy = easy_.get();
    set(easy, CURLOPT_ERRORBUFFER, words_);
    set(easy, CURLOPT_URL, url.c_str());
    // A URL of another scheme, such as file, is refused even where it gets this far.
    set(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    // The client follows redirects itself, since it decides who gets credentials.
    set(easy, CURLOPT_FOLLOWLOCATION, 0L);
    // A library must not use the signals of a program with threads.
    set(easy, CURLOPT_NOSIGNAL, 1L);
    set(easy, CURLOPT_BUFFERSIZE, static_cast<long>(kReceiveBytes));
    set(easy, CURLOPT_HEADERFUNCTION, &Transfer::takeHeader);
    set(easy, CURLOPT_HEADERDATA, this);
    set(easy, CURLOPT_WRITEFUNCTION, &Transfer::takeBody);
    set(easy, CURLOPT_WRITEDATA, this);
    set(easy, CURLOPT_PRIVATE, this);
}

Transfer::~Transfer() {
    // In this order: libcurl wants a handle out of the multi handle before it is cleaned up, which the member
    // does next.
    if (added_) {
        curl_multi_remove_handle(multi_, easy_.get());  // Fails only for a handle that is not there.
    }
}

void Transfer::start() {
    // libcurl keeps the list and makes no copy: it is a member and does not change any more.
    set(handle(), CURLOPT_HTTPHEADER, headers_.get());
    if (curl_multi_add_handle(multi_, handle()) != CURLM_OK) {
        throw std::bad_alloc();  // The other reasons are mistakes of the caller.
    }
    added_ = true;
}

void Transfer::finish(CURLcode result) {
    finished_ = true;
    result_ = result;
    throwWhatFailed();
}

std::string Transfer::reason() const {
    const char* const words = words_[0] != '\0' ? words_ : curl_easy_strerror(result_);
    return stream::escapeForDisplay(words);
}

std::size_t Transfer::take(char* buffer, std::size_t size) {
    const std::size_t count = body_.copy(buffer, size, taken_);
    taken_ += count;
    // Only an empty buffer is reset: to move the rest with each call would cost more than the space is worth.
    if (taken_ == body_.size()) {
        body_.clear();
        taken_ = 0;
    }
    return count;
}

void Transfer::resume() {
    if (std::exchange(paused_, false)) {
        // What was held back comes through takeBody() at once; a failure ends the transfer and is reported there.
        static_cast<void>(curl_easy_pause(handle(), CURLPAUSE_CONT));
        throwWhatFailed();
    }
}

void Transfer::throwWhatFailed() {
    if (failure_) {
        std::rethrow_exception(failure_);
    }
}

std::size_t Transfer::takeHeader(char* data, std::size_t one, std::size_t size, void* self) noexcept {
    Transfer& transfer = *static_cast<Transfer*>(self);
    const std::size_t bytes = one * size;
    transfer.received_.bytes += bytes;
    transfer.headerBytes_ += bytes;
    // Any number but `bytes` makes libcurl end the transfer with an error.
    if (transfer.headerBytes_ > kMostHeaderBytes) {
        return 0;
    }
    try {
        transfer.response_.addLine({data, bytes});
    } catch (...) {
        transfer.failure_ = std::current_exception();
        return 0;
    }
    return bytes;
}

std::size_t Transfer::takeBody(char* data, std::size_t one, std::size_t size, void* self) noexcept {
    Transfer& transfer = *static_cast<Transfer*>(self);
    const std::size_t bytes = one * size;
    if (transfer.buffered() >= transfer.mostBuffered_) {
        // libcurl gives the same bytes again when the transfer goes on, so that they are not counted here.
        transfer.paused_ = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    try {
        transfer.body_.append(data, bytes);
    } catch (...) {
        transfer.failure_ = std::current_exception();
        return 0;
    }
    transfer.received_.bytes += bytes;
    transfer.received_.bodyBytes += bytes;
    return bytes;
}

}  // namespace bex::remote

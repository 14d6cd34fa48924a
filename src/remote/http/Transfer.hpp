#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>

#include "remote/http/Curl.hpp"
#include "remote/http/Response.hpp"

namespace bex::remote {

/// What is asked for.
struct Request {
    std::optional<ByteRange> range;  ///< none: all of the file
    std::string ifRange;             ///< a strong entity tag; "" for none
};

/// Where libcurl stops reading from the server until somebody takes the bytes, of a transfer without a range.
constexpr std::size_t kMostBuffered = std::size_t{1} << 20;

/// What came from the server, of all transfers together.
struct Received {
    std::uint64_t bytes = 0;      ///< of header fields and bodies
    std::uint64_t bodyBytes = 0;  ///< of bodies alone
};

/// One GET request in a multi handle, and what came of its response. The body waits in a buffer of bounded size:
/// libcurl is paused while it is full. Destroyed before its end, the transfer is given up.
/// Used by one thread at a time, together with the multi handle, which must outlive it.
class Transfer {
public:
    /// Prepares a request for the URL; start() sends it. What comes is added to `received`, which must outlive it.
    /// At most `mostBuffered` bytes wait, or what libcurl gives at once beyond them.
    Transfer(CURLM* multi, const std::string& url, Received& received, std::size_t mostBuffered);
    ~Transfer();
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    /// For the options that this class does not set itself.
    CURL* handle() const noexcept { return easy_.get(); }
    void addHeader(const std::string& line) { append(headers_, line); }

    void start();
    /// Called with libcurl's result when the transfer has ended.
    void finish(CURLcode result);

    const Response& response() const noexcept { return response_; }
    bool finished() const noexcept { return finished_; }
    /// Why it failed, in libcurl's words, escaped; only for a result other than CURLE_OK.
    CURLcode result() const noexcept { return result_; }
    std::string reason() const;

    std::size_t buffered() const noexcept { return body_.size() - taken_; }
    /// Copies up to `size` buffered bytes and drops them.
    std::size_t take(char* buffer, std::size_t size);
    /// Goes on with a transfer that was paused because the buffer was full.
    void resume();

private:
    static std::size_t takeHeader(char* data, std::size_t one, std::size_t size, void* self) noexcept;
    static std::size_t takeBody(char* data, std::size_t one, std::size_t size, void* self) noexcept;
    void throwWhatFailed();

    CURLM* const multi_;
    Received& received_;
    const std::size_t mostBuffered_;
    const Easy easy_;
    List headers_;
    char words_[CURL_ERROR_SIZE] = {};  // libcurl writes its reason here
    Response response_;
    std::exception_ptr failure_;  // of a callback, through which nothing may be thrown
    std::string body_;
    std::size_t taken_ = 0;
    std::uint64_t headerBytes_ = 0;
    bool paused_ = false;
    bool added_ = false;
    bool finished_ = false;
    CURLcode result_ = CURLE_OK;
};

}  // namespace bex::remote

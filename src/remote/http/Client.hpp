#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "bex/remote/RemoteOptions.hpp"
#include "remote/http/Address.hpp"
#include "remote/http/Transfer.hpp"

namespace bex::remote {

/// Sends requests for one URL: follows redirects, sends credentials to the first server alone, and ends what takes
/// too long or exceeds a limit. Used by one thread at a time.
class Client {
public:
    /// Throws StreamError (`invalidInput`).
    Client(const std::string& url, RemoteOptions options);

    /// The URL in messages.
    const std::string& name() const noexcept { return first_.url; }
    std::uint64_t requests() const noexcept { return requests_; }
    std::uint64_t bodyBytes() const noexcept { return received_.bodyBytes; }

    /// Sends the request. Transfers must not outlive this.
    std::unique_ptr<Transfer> send(const Request& request);

    /// Waits for the header fields of the answer; where it is a redirect, replaces the transfer with one for the
    /// place it leads to. Throws StreamError where there is no answer.
    void awaitAnswer(std::unique_ptr<Transfer>& transfer, const Request& request);

    /// Waits until bytes are buffered or the transfer has ended. Throws StreamError where it ended with an error.
    void awaitBytes(Transfer& transfer);

private:
    void checkHeaders() const;
    void addCredentials(Transfer& transfer) const;
    /// Waits until `reached()`; other transfers go on meanwhile.
    template <typename Condition>
    void await(const Transfer& transfer, Condition reached);
    void work();
    void rest();

    const RemoteOptions options_;
    const Address first_;
    Address current_;  // where redirects led
    Multi multi_;
    std::uint64_t requests_ = 0;
    Received received_;
    // Since the server was last found to send enough: time spent in waiting, and what had come before it.
    std::chrono::steady_clock::duration waited_{};
    std::uint64_t receivedBefore_ = 0;
};

}  // namespace bex::remote

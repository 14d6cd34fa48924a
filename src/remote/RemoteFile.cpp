#include "bex/remote/RemoteFile.hpp"

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "remote/RangeAnswer.hpp"
#include "remote/RangeQueue.hpp"
#include "remote/http/Client.hpp"
#include "remote/http/Failure.hpp"

namespace bex::remote {

namespace {

constexpr std::uint64_t kFrontBytes = std::uint64_t{64} << 10;
/// Whoever reads on beyond the front reads the rest of a large control archive: few requests, whatever its size.
constexpr std::uint64_t kFirstStepBytes = 4 * kFrontBytes;
constexpr std::uint64_t kLargestStepBytes = std::uint64_t{4} << 20;
/// Elsewhere there is a header, as a rule, and little after it is read.
constexpr std::uint64_t kHeaderBytes = std::uint64_t{4} << 10;
/// Of what is announced so much is asked for at once, and so many such requests are under way.
constexpr std::uint64_t kLargestRangeBytes = std::uint64_t{4} << 20;
constexpr std::size_t kMostFlights = 2;
constexpr std::uint64_t kKeptBytes = std::uint64_t{16} << 20;

/// Bytes that were fetched.
struct Piece {
    std::uint64_t offset = 0;
    std::string bytes;

    bool has(std::uint64_t place) const noexcept { return place >= offset && place - offset < bytes.size(); }
    std::uint64_t end() const noexcept { return offset + bytes.size(); }
};

/// A range that was announced and asked for; its answer comes in while others are waited for.
struct Flight {
    ByteRange range;
    Request request;
    std::unique_ptr<Transfer> transfer;

    bool has(std::uint64_t place) const noexcept { return place >= range.first && place <= range.last; }
};

/// One client for all requests of a file, so that connections are used again. The mutex makes callers in several
/// threads wait for each other: the client is used by one at a time.
class HttpFile final : public RemoteFile, public std::enable_shared_from_this<HttpFile> {
public:
    HttpFile(const std::string& url, const RemoteOptions& options) : client_(url, options) {}

    const std::string& name() const noexcept override { return client_.name(); }

    std::uint64_t size() override {
        const std::lock_guard<std::mutex> lock(mutex_);
        return sizeKnown();
    }

    std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
        const std::lock_guard<std::mutex> lock(mutex_);
        // The size comes with the front, which nearly every reader of a package wants first.
        if (size == 0 || offset >= sizeKnown()) {
            return 0;
        }
        // The piece may end before `size` bytes: a source may return fewer.
        const Piece& piece = pieceAt(offset, size);
        return piece.bytes.copy(buffer, size, static_cast<std::size_t>(offset - piece.offset));
    }

    bool willRead(const std::vector<Range>& ranges) override {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const Range& range : ranges) {
            const std::uint64_t size = sizeKnown();
            if (range.size != 0 && range.offset < size) {
                // The shorter of both, so that a sum cannot wrap.
                announced_.add({range.offset, range.offset + std::min(range.size, size - range.offset) - 1});
            }
        }
        keepFlying();
        return true;
    }

    std::unique_ptr<stream::ForwardSource> download() override;

    Traffic traffic() const override {
        const std::lock_guard<std::mutex> lock(mutex_);
        return {client_.requests(), client_.bodyBytes()};
    }

    /// The next bytes of a download, whose transfer is begun at the first call. 0 at the end.
    std::size_t readOn(std::unique_ptr<Transfer>& transfer, char* buffer, std::size_t size) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!transfer) {
            transfer = beginDownload();
        }
        client_.awaitBytes(*transfer);
        return transfer->take(buffer, size);
    }

    /// Ends a download, which shares the connections of this file.
    void end(std::unique_ptr<Transfer>& transfer) noexcept {
        const std::lock_guard<std::mutex> lock(mutex_);
        transfer.reset();
    }

private:
    std::uint64_t sizeKnown() {
        if (pieces_.empty()) {
            fetch({0, kFrontBytes - 1});
        }
        return *version_.size();  // every answer to a range gives it
    }

    const Piece& pieceAt(std::uint64_t offset, std::size_t wanted) {
        const auto piece = pieceWith(offset);
        if (piece != pieces_.end()) {
            return *piece;
        }
        const auto flight = flightWith(offset);
        if (flight == flights_.end()) {
            ByteRange range = rangeFor(offset, wanted);
            endBeforeWhatIsThere(range);
            return fetch(range);
        }
        Flight landing = std::move(*flight);
        flights_.erase(flight);
        // Before this one is awaited, so that the next ones come in meanwhile.
        keepFlying();
        return land(std::move(landing));
    }

    std::vector<Piece>::iterator pieceWith(std::uint64_t offset) {
        return std::find_if(pieces_.begin(), pieces_.end(), [&](const Piece& piece) { return piece.has(offset); });
    }

    std::vector<Flight>::iterator flightWith(std::uint64_t offset) {
        return std::find_if(flights_.begin(), flights_.end(),
                            [&](const Flight& flight) { return flight.has(offset); });
    }

    /// What is fetched where `wanted` bytes from `offset` on are asked for that nobody announced: what follows the
    /// newest piece, in steps that grow; of another place little more than is wanted.
    ByteRange rangeFor(std::uint64_t offset, std::size_t wanted) {
        const std::uint64_t size = *version_.size();
        std::uint64_t step = kHeaderBytes;
        if (offset == pieces_.back().end()) {
            step = step_;
            // Doubled: a reader that goes on needs few requests, and one that stops soon has fetched little too
            // much.
            step_ = std::min(step_ * 2, kLargestStepBytes);
        } else {
            // A jump begins anew: nothing shows that this place is read further.
            step_ = kFirstStepBytes;
        }
        return {offset, std::min(offset + std::max<std::uint64_t>(step, wanted), size) - 1};
    }

    /// Asks for what was announced, as far as requests may be under way.
    void keepFlying() {
        landWhatCame();
        while (flights_.size() < kMostFlights) {
            const std::optional<ByteRange> range = nextAnnounced();
            if (!range) {
                return;
            }
            flights_.push_back(depart(*range));
        }
    }

    /// Makes room for further flights. They are waited for by nobody where the reader went elsewhere.
    void landWhatCame() {
        for (std::size_t i = 0; i < flights_.size() && !announced_.empty();) {
            if (flights_[i].transfer->finished()) {
                Flight landing = std::move(flights_[i]);
                flights_.erase(flights_.begin() + static_cast<std::ptrdiff_t>(i));
                land(std::move(landing));
            } else {
                ++i;
            }
        }
    }

    /// The next announced bytes that are neither there nor under way.
    std::optional<ByteRange> nextAnnounced() {
        while (!announced_.empty()) {
            ByteRange range = announced_.front();
            const auto piece = pieceWith(range.first);
            const auto flight = flightWith(range.first);
            if (piece != pieces_.end()) {
                announced_.dropBefore(piece->end());
            } else if (flight != flights_.end()) {
                announced_.dropBefore(flight->range.last + 1);
            } else {
                range.last = std::min(range.last, range.first + kLargestRangeBytes - 1);
                endBeforeWhatIsThere(range);
                announced_.dropBefore(range.last + 1);
                return range;
            }
        }
        return std::nullopt;
    }

    /// The range's first byte is not there.
    void endBeforeWhatIsThere(ByteRange& range) const {
        const auto cut = [&range](std::uint64_t begin) {
            if (begin > range.first && begin <= range.last) {
                range.last = begin - 1;
            }
        };
        std::for_each(pieces_.begin(), pieces_.end(), [&](const Piece& piece) { cut(piece.offset); });
        std::for_each(flights_.begin(), flights_.end(), [&](const Flight& flight) { cut(flight.range.first); });
    }

    Flight depart(const ByteRange& range) {
        const Request request = {range, version_.strongTag()};
        return {range, request, client_.send(request)};
    }

    const Piece& fetch(const ByteRange& range) { return land(depart(range)); }

    const Piece& land(Flight flight) {
        client_.awaitAnswer(flight.transfer, flight.request);
        const std::uint64_t size = checkRangeAnswer(flight.transfer->response(), flight.range, version_, name());
        Piece piece = {flight.range.first, bodyOf(*flight.transfer, static_cast<std::size_t>(size))};
        // Before the new piece is added, which must be the last one: rangeFor() goes by its end.
        dropOld(size);
        pieces_.push_back(std::move(piece));
        return pieces_.back();
    }

    std::string bodyOf(Transfer& transfer, std::size_t size) {
        // At most what was asked for: checkRangeAnswer() has compared it, so that no server decides what is
        // allocated.
        std::string body(size, '\0');
        std::size_t done = 0;
        for (client_.awaitBytes(transfer); transfer.buffered() > 0; client_.awaitBytes(transfer)) {
            if (transfer.buffered() > size - done) {
                throw failure(name(), "remote-length",
                              "the server sends more than the " + std::to_string(size) + " bytes of the range");
            }
            done += transfer.take(body.data() + done, size - done);
        }
        if (done < size) {
            throw failure(name(), "remote-length",
                          "the server's answer ends after " + std::to_string(done) + " of " +
                              std::to_string(size) + " bytes");
        }
        return body;
    }

    /// Makes room for so many bytes; the front stays.
    void dropOld(std::uint64_t coming) {
        std::uint64_t kept = coming;
        for (const Piece& piece : pieces_) {
            kept += piece.bytes.size();
        }
        while (kept > kKeptBytes && pieces_.size() > 1) {
            kept -= pieces_[1].bytes.size();
            pieces_.erase(pieces_.begin() + 1);
        }
    }

    std::unique_ptr<Transfer> beginDownload() {
        const Request whole;
        std::unique_ptr<Transfer> transfer = client_.send(whole);
        client_.awaitAnswer(transfer, whole);
        const Response& response = transfer->response();
        checkAnswer(response, name());
        // checkAnswer() admits 206, too, which would be a part of the file in the place of all of it.
        if (response.status() != 200) {
            throw failure(name(), "remote-range", "the server sends a range that was not asked for");
        }
        // A download after ranges must be of the same file.
        version_.note(response, response.contentLength(), name());
        return transfer;
    }

    mutable std::mutex mutex_;
    Client client_;
    FileVersion version_;
    std::vector<Piece> pieces_;  // the front, then the others, the newest last
    std::uint64_t step_ = kFirstStepBytes;
    RangeQueue announced_;
    std::vector<Flight> flights_;
};

/// One pass over the file. The transfer ends before the file, whose connections it shares.
class Download final : public stream::ForwardSource {
public:
    explicit Download(std::shared_ptr<HttpFile> file) : file_(std::move(file)) {}
    ~Download() override { file_->end(transfer_); }

    std::size_t read(char* buffer, std::size_t size) override {
        if (size == 0) {
            return 0;
        }
        return file_->readOn(transfer_, buffer, size);
    }

private:
    const std::shared_ptr<HttpFile> file_;
    std::unique_ptr<Transfer> transfer_;
};

std::unique_ptr<stream::ForwardSource> HttpFile::download() {
    return std::make_unique<Download>(shared_from_this());
}

}  // namespace

std::shared_ptr<RemoteFile> openUrl(const std::string& url, const RemoteOptions& options) {
    return std::make_shared<HttpFile>(url, options);
}

}  // namespace bex::remote

void bexOpenUrl(const std::string& url, const bex::remote::RemoteOptions& options,
                std::shared_ptr<bex::remote::RemoteFile>& file) {
    file = bex::remote::openUrl(url, options);
}

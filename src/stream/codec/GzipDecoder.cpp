#include <libdeflate.h>

#include <utility>

#include "stream/codec/CodecError.hpp"
#include "stream/codec/IndexChain.hpp"
#include "stream/codec/Inflater.hpp"
#include "stream/codec/StreamDecoder.hpp"

namespace bex::stream {

namespace {

/// Header, checksum and length are checked here, as for blocks.
class GzipDecoder final : public StreamDecoder {
public:
    GzipDecoder(Input& input, Place place, const DecompressionSettings& settings,
                const std::optional<GzipHeader>& header)
        : input_(input),
          place_(std::move(place)),
          watch_(settings.watch),
          inflater_(settings.strict ? makeZlibInflater() : makeIsalInflater()) {
        if (header) {
            begin(*header);
        }
    }

    std::size_t fill(char* buffer, std::size_t size) override {
        std::size_t done = 0;
        // A member may be empty, and inflate() may give nothing while it takes input. Only the end of all members
        // ends the loop early.
        while (done < size && (inMember_ || beginNext())) {
            done += inflate(buffer + done, size - done);
        }
        return done;
    }

private:
    bool beginNext() {
        const std::optional<GzipHeader> header = readGzipHeader(input_, place_);
        if (header) {
            begin(*header);
        }
        return header.has_value();
    }

    void begin(const GzipHeader& header) {
        if (watch_ != nullptr) {
            watch_->see(header, std::nullopt);
        }
        header_ = header;
        // CRC and length are a member's own (RFC 1952, 2.3.1), so both begin anew.
        found_ = {};
        inMember_ = true;
        inflater_->begin();
    }

    std::size_t inflate(char* buffer, std::size_t size) {
        // At the input's end the decoder may still hold back output.
        input_.fill();
        const Inflater::Step step = inflater_->inflate({input_.data(), input_.size()}, buffer, size);
        if (step.state == Inflater::State::invalid) {
            // Before the counts are used: invalid data would otherwise look like a stream that needs more input.
            throw damagedError(place_, memberAt(header_.offset) + ": invalid deflate data");
        }
        input_.consume(step.consumed);
        found_.crc = libdeflate_crc32(found_.crc, buffer, step.produced);
        // Modulo 2^32, as the trailer counts.
        found_.size += static_cast<std::uint32_t>(step.produced);
        if (step.state == Inflater::State::ended) {
            // An inflater may read ahead by a whole word. What it took after the deflate data is the trailer's
            // beginning.
            input_.unread(step.unused);
            end();
            // The source is at its end, and no step was possible with what was left: neither call could change
            // that.
        } else if (step.consumed == 0 && step.produced == 0) {
            throw truncatedError(place_, input_.offset(), "a gzip member");
        }
        return step.produced;
    }

    void end() {
        inMember_ = false;
        char trailer[kGzipTrailerBytes];
        if (input_.read(trailer, sizeof trailer) != sizeof trailer) {
            throw truncatedError(place_, input_.offset(), "a gzip trailer");
        }
        // Only now are the member's bytes known to be right. They were delivered before; the error keeps the
        // caller from using them.
        checkTrailer(decodeTrailer(trailer), found_, place_, header_.offset);
        const std::uint64_t memberBytes = input_.offset() - header_.offset;
        // A wrong "BX" length would lead readers that jump over blocks into the middle of a member.
        if (header_.memberBytes && *header_.memberBytes != memberBytes) {
            throw wrongMemberLength(place_, header_.offset);
        }
    }

    Input& input_;
    const Place place_;
    BlockWatch* const watch_;
    const std::unique_ptr<Inflater> inflater_;
    GzipHeader header_;
    GzipTrailer found_;  // what the member's data gave so far
    bool inMember_ = false;
};

}  // namespace

std::unique_ptr<StreamDecoder> makeGzipDecoder(Input& input, const Place& place,
                                               const DecompressionSettings& settings,
                                               const std::optional<GzipHeader>& header) {
    return std::make_unique<GzipDecoder>(input, place, settings, header);
}

}  // namespace bex::stream

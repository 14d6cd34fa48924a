#include <isa-l/igzip_lib.h>
#include <libdeflate.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "stream/codec/CodecError.hpp"
#include "stream/codec/StreamDecoder.hpp"

namespace bex::stream {
namespace {

/// Raw inflate is ISA-L's; header, checksum and length are checked here, as for blocks.
class GzipDecoder final : public StreamDecoder {
public:
    GzipDecoder(Input& input, std::string name, const std::optional<GzipHeader>& header)
        : input_(input), name_(std::move(name)), state_(std::make_unique<inflate_state>()) {
        isal_inflate_init(state_.get());
        if (header) {
            begin(*header);
        }
    }

    std::size_t fill(char* buffer, std::size_t size) override {
        std::size_t done = 0;
        while (done < size && (inMember_ || beginNext())) {
            done += inflate(buffer + done, size - done);
        }
        return done;
    }

private:
    bool beginNext() {
        const std::optional<GzipHeader> header = readGzipHeader(input_, name_);
        if (header) {
            begin(*header);
        }
        return header.has_value();
    }

    void begin(const GzipHeader& header) {
        header_ = header;
        found_ = {};
        inMember_ = true;
        isal_inflate_reset(state_.get());
    }

    std::size_t inflate(char* buffer, std::size_t size) {
        // At the input's end the decoder may still hold back output.
        input_.fill();
        const std::size_t offered = input_.size();
        state_->next_in = reinterpret_cast<std::uint8_t*>(const_cast<char*>(input_.data()));  // only read
        state_->avail_in = static_cast<std::uint32_t>(offered);
        state_->next_out = reinterpret_cast<std::uint8_t*>(buffer);
        state_->avail_out =
            static_cast<std::uint32_t>(std::min<std::size_t>(size, std::numeric_limits<std::uint32_t>::max()));
        const std::uint32_t room = state_->avail_out;
        if (isal_inflate(state_.get()) < 0) {
            throw damagedError(name_, memberAt(header_.offset) + ": invalid deflate data");
        }
        const std::size_t consumed = offered - state_->avail_in;
        const std::size_t produced = room - state_->avail_out;
        input_.consume(consumed);
        found_.crc = libdeflate_crc32(found_.crc, buffer, produced);
        found_.size += static_cast<std::uint32_t>(produced);
        if (state_->block_state == ISAL_BLOCK_FINISH) {
            end();
        } else if (consumed == 0 && produced == 0) {
            throw truncatedError(name_, input_.offset(), "a gzip member");
        }
        return produced;
    }

    void end() {
        inMember_ = false;
        // Whole bytes that the decoder took and did not use are the trailer's.
        input_.unread(static_cast<std::size_t>(state_->read_in_length) / 8);
        char trailer[kGzipTrailerBytes];
        if (input_.read(trailer, sizeof trailer) != sizeof trailer) {
            throw truncatedError(name_, input_.offset(), "a gzip trailer");
        }
        checkTrailer(decodeTrailer(trailer), found_, name_, header_.offset);
        const std::uint64_t memberBytes = input_.offset() - header_.offset;
        if (header_.memberBytes && *header_.memberBytes != memberBytes) {
            throw wrongMemberLength(name_, header_.offset);
        }
    }

    Input& input_;
    const std::string name_;
    const std::unique_ptr<inflate_state> state_;
    GzipHeader header_;
    GzipTrailer found_;  // what the member's data gave so far
    bool inMember_ = false;
};

}  // namespace

std::unique_ptr<StreamDecoder> makeGzipDecoder(Input& input, const std::string& name,
                                               const std::optional<GzipHeader>& header) {
    return std::make_unique<GzipDecoder>(input, name, header);
}

}  // namespace bex::stream

#include <zlib.h>

#include <new>

#include "stream/codec/CoderState.hpp"
#include "stream/codec/Inflater.hpp"

namespace bex::stream {

namespace {

/// The largest window, and neither header nor checksum of zlib's own.
constexpr int kRawWindowBits = -15;

/// zlib takes exactly the bytes of the deflate data, never one more: `unused` stays 0.
class ZlibInflater final : public Inflater {
public:
    ZlibInflater() {
        if (inflateInit2(stream_.get(), kRawWindowBits) != Z_OK) {
            throw std::bad_alloc();
        }
    }

    void begin() override { inflateReset(stream_.get()); }  // cannot fail once initialized

    Step inflate(std::string_view data, char* buffer, std::size_t room) override {
        stream_->next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));  // only read
        const uInt offered = clamped(data.size());
        stream_->avail_in = offered;
        stream_->next_out = reinterpret_cast<Bytef*>(buffer);
        const uInt free = clamped(room);
        stream_->avail_out = free;
        const State state = stateOf(::inflate(stream_.get(), Z_NO_FLUSH));
        return {state, offered - stream_->avail_in, free - stream_->avail_out};
    }

private:
    /// Z_NEED_DICT belongs to the zlib format (RFC 1950) and cannot come from raw deflate data.
    static State stateOf(int result) {
        switch (result) {
            case Z_STREAM_END:
                return State::ended;
            case Z_OK:
            case Z_BUF_ERROR:  // no step was possible
                return State::open;
            case Z_MEM_ERROR:
                throw std::bad_alloc();
            default:
                return State::invalid;
        }
    }

    CoderState<z_stream, inflateEnd> stream_;
};

}  // namespace

std::unique_ptr<Inflater> makeZlibInflater() {
    return std::make_unique<ZlibInflater>();
}

}  // namespace bex::stream

#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace bex::stream {

/// Unpacks raw deflate data (RFC 1951), one stream after another. Used by one thread at a time.
class Inflater {
public:
    enum class State {
        open,   ///< the stream's end is not reached: more input or more room may lead there
        ended,  ///< the stream is complete
        invalid
    };

    struct Step {
        State state = State::invalid;
        std::size_t consumed = 0;  ///< bytes taken of the data
        std::size_t produced = 0;  ///< bytes put into the buffer
        /// At the end: of the bytes taken, in this step or the one before, how many belong to what follows the
        /// stream. At most Input::kUnreadBytes.
        std::size_t unused = 0;
    };

    virtual ~Inflater() = default;
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    /// Begins with a new stream, whatever became of the one before.
    virtual void begin() = 0;

    /// Goes on as far as `data` and the `room` in the buffer reach. `data` is not kept.
    virtual Step inflate(std::string_view data, char* buffer, std::size_t room) = 0;

protected:
    Inflater() = default;
};

/// zlib: takes what every program that inflates with it takes, dpkg-deb among them, and nothing else. The slowest.
std::unique_ptr<Inflater> makeZlibInflater();

/// Fast for streams in pieces (ISA-L). Some incomplete code sets are taken.
std::unique_ptr<Inflater> makeIsalInflater();

/// Fastest (libdeflate), but each stream is unpacked in one step, which has to be given all of it and room for all
/// that comes out; with too little room, the step fills it and the stream stays open, for nothing but begin().
/// Some symbols and distances that stand for nothing, and lengths beyond the last symbol, are taken.
std::unique_ptr<Inflater> makeLibdeflateInflater();

}  // namespace bex::stream

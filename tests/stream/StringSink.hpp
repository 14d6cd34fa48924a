#pragma once

#include <cstddef>
#include <string>

#include "bex/stream/Sink.hpp"
#include "bex/stream/StreamError.hpp"

namespace bex::test {

/// Keeps what is written; from `writesLeft` calls on it fails.
class StringSink : public stream::Sink {
public:
    explicit StringSink(std::size_t writesLeft = static_cast<std::size_t>(-1)) : writesLeft_(writesLeft) {}

    void write(const char* data, std::size_t size) override {
        if (writes == writesLeft_) {
            throw stream::StreamError(stream::ErrorKind::inputOutput, "target: full");
        }
        ++writes;
        bytes.append(data, size);
    }

    std::string bytes;
    std::size_t writes = 0;

private:
    std::size_t writesLeft_;
};

}  // namespace bex::test

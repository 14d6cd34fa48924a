#pragma once

#include <string>

#include "bex/stream/Sink.hpp"

namespace bex::stream {

/// Keeps what is written in memory.
class StringSink final : public Sink {
public:
    void write(const char* data, std::size_t size) override { bytes.append(data, size); }
    std::string bytes;
};

}  // namespace bex::stream

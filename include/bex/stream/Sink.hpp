#pragma once

#include <cstddef>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// Takes the bytes of one file in order. Used by one thread at a time.
class BEX_EXPORT Sink {
public:
    virtual ~Sink();

    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    /// Appends `size` bytes (0 is allowed). `data` stays the caller's and is not kept.
    /// Throws StreamError naming file and reason; the sink then only accepts destruction.
    virtual void write(const char* data, std::size_t size) = 0;

protected:
    Sink() = default;
};

}  // namespace bex::stream

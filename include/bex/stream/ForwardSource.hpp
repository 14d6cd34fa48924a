#pragma once

#include <cstddef>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// Bytes that are read once, from front to back, such as those of a download. Used by one thread at a
/// time, not always the same one.
class BEX_EXPORT ForwardSource {
public:
    virtual ~ForwardSource();
    ForwardSource(const ForwardSource&) = delete;
    ForwardSource& operator=(const ForwardSource&) = delete;

    /// Reads up to `size` bytes and returns their number, which is 0 only if `size` is 0 or at the end. May
    /// return fewer bytes, although more will follow. Throws StreamError (`inputOutput`); any other exception of a
    /// caller's class passes through the reader unchanged.
    virtual std::size_t read(char* buffer, std::size_t size) = 0;

protected:
    ForwardSource() = default;
};

}  // namespace bex::stream

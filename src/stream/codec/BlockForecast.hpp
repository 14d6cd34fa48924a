#pragma once

#include <cstdint>

namespace bex::stream {

/// Foretells which of the bytes that come out of a stream will be asked for, while others are skipped. It may be
/// wrong: it decides when blocks are unpacked, and by which thread, but never what comes out.
class BlockForecast {
public:
    virtual ~BlockForecast() = default;

    /// Whether any byte from `begin` to before `end` will be asked for.
    virtual bool isWanted(std::uint64_t begin, std::uint64_t end) const = 0;
};

}  // namespace bex::stream

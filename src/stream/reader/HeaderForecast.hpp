#pragma once

#include <memory>

#include "bex/stream/Limits.hpp"
#include "bex/stream/Member.hpp"
#include "bex/stream/Source.hpp"
#include "stream/codec/BlockForecast.hpp"

namespace bex::stream {

/// Foretells by the index of a data member that the entries' headers will be asked for. Null where that saves
/// nothing: there is no sound index, or most blocks have a header anyway. Reads the index; what it says is
/// believed no further than a forecast is. Throws std::bad_alloc alone.
std::unique_ptr<BlockForecast> forecastHeaders(std::shared_ptr<Source> source, const Member& member,
                                               const Limits& limits);

}  // namespace bex::stream

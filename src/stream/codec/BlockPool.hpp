#pragma once

#include <cstdint>

#include "stream/base/WorkPool.hpp"
#include "stream/codec/Buffer.hpp"

namespace bex::stream {

/// What one worker turns from `input` into `output`.
struct Block {
    Buffer input;
    Buffer output;
    std::uint64_t offset = 0;  ///< of the input in its stream, for messages
};

using BlockPool = WorkPool<Block>;

}  // namespace bex::stream

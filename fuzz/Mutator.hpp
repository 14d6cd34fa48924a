#pragma once

#include <cstddef>
#include <cstdint>

#include "Target.hpp"

namespace bex::fuzz {

/// Changes `size` bytes in place, may make up to `maximum` of them, and tells how many there are.
using ChangeBytes = std::size_t (*)(std::uint8_t* data, std::size_t size, std::size_t maximum);

/// Changes an input layer by layer: takes the ar file, the gzip members and the tar archive apart, changes one
/// thing inside, by `changeBytes` or in some way that the layer suggests, and wraps all again with sizes, lengths
/// and checksums mended, so that the change gets past them. Now and then it leaves something unmended, or changes
/// bytes as they stand. Otherwise as LLVMFuzzerCustomMutator.
std::size_t mutate(Shape shape, std::uint8_t* data, std::size_t size, std::size_t maximum, unsigned seed,
                   ChangeBytes changeBytes);

}  // namespace bex::fuzz

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace bex::stream {

/// Copies bytes of an entry's contents, from `offset` on, to `buffer`. Returns their number: 1 to `size`, or 0 if
/// there are none. Called with rising offsets, and again from 0 if the contents are needed again.
using ContentReader = std::function<std::size_t(std::uint64_t offset, char* buffer, std::size_t size)>;

}  // namespace bex::stream

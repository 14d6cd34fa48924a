#pragma once

#include <string_view>

namespace bex::stream {

/// Whether deflate would gain next to nothing on the data, as on what is compressed or encrypted already: all
/// bytes occur alike, and hardly anything is repeated within deflate's reach. An answer is found many times as
/// fast as by compressing, is the same on every machine, and is wrong by at most some thousandths of the size.
bool isNoise(std::string_view data);

}  // namespace bex::stream

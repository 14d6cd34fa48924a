#include "bex/stream/Sink.hpp"

namespace bex::stream {

Sink::~Sink() = default;

}  // namespace bex::stream

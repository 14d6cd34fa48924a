#include "bex/stream/StreamError.hpp"

namespace bex::stream {

StreamError::StreamError(ErrorKind kind, const std::string& message) : BexException(message), kind_(kind) {}

StreamError::~StreamError() = default;

}  // namespace bex::stream

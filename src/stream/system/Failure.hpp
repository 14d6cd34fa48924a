#pragma once

#include <string>

#include "bex/stream/StreamError.hpp"

namespace bex::stream {

/// An `inputOutput` error "WHERE: can't DO: REASON", with the system's text for the error number. `where` is a
/// path as it is; it is escaped here.
StreamError systemFailure(const std::string& where, const std::string& action, int errorNumber);

}  // namespace bex::stream

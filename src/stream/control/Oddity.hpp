#pragma once

#include <string>

#include "bex/stream/Finding.hpp"

namespace bex::stream {

/// A flaw of a control member that its own reading here forgives or never sees.
struct Oddity {
    const char* code = "";  ///< of the finding
    Severity severity = Severity::error;
    std::string reason;  ///< one sentence, with the line where there is one; names are escaped
};

}  // namespace bex::stream

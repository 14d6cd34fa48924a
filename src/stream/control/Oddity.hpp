#pragma once

#include <string>
#include <vector>

#include "bex/stream/Finding.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

/// A flaw of a control member that its own reading here forgives or never sees.
struct Oddity {
    const char* code = "";  ///< of the finding
    Severity severity = Severity::error;
    std::string reason;  ///< one sentence, with the line where there is one; names are escaped
};

/// Hands all of them to the place's handler.
inline void note(const std::vector<Oddity>& oddities, const Place& place) {
    for (const Oddity& oddity : oddities) {
        place.note(oddity.code, oddity.reason, oddity.severity);
    }
}

}  // namespace bex::stream

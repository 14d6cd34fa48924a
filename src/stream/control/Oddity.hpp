#pragma once

#include <string>
#include <string_view>
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

/// Adds an error of that code if the text does not end with a newline.
inline void checkLastLine(std::string_view text, const char* code, std::vector<Oddity>& oddities) {
    if (!text.empty() && text.back() != '\n') {
        oddities.push_back({code, Severity::error, "the last line lacks its newline"});
    }
}

/// Hands all of them to the place's handler.
inline void note(const std::vector<Oddity>& oddities, const Place& place) {
    for (const Oddity& oddity : oddities) {
        place.note(oddity.code, oddity.reason, oddity.severity);
    }
}

}  // namespace bex::stream

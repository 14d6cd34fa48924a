#pragma once

#include "bex/stream/StreamError.hpp"

namespace bex::stream {

enum class Severity {
    warning,  ///< readers differ harmlessly, or it is bad practice
    error     ///< a reader refuses it, or contents are not what is promised
};

/// One thing that is wrong with a package: what a StreamError would hold. docs/findings.md lists codes and
/// severities.
struct Finding : ErrorRecord {
    Finding(Severity severityOfIt, ErrorRecord record)
        : ErrorRecord(static_cast<ErrorRecord&&>(record)), severity(severityOfIt) {}

    Severity severity;
};

}  // namespace bex::stream

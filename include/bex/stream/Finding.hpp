#pragma once

#include <string>
#include <vector>

#include "bex/stream/Export.hpp"
#include "bex/stream/StreamError.hpp"

namespace bex::stream {

enum class Severity {
    warning,  ///< readers differ harmlessly, or it is bad practice
    error     ///< a reader or dpkg refuses it, or contents differ from what the package promises
};

/// One fault of a package, with the fields of a StreamError. docs/findings.md lists codes and severities.
struct Finding : ErrorRecord {
    Finding(Severity severityOfIt, const ErrorRecord& record) : ErrorRecord(record), severity(severityOfIt) {}

    Severity severity;
};

/// Thrown by PackageEditor for an error that verify() would list, unless EditOptions::allow names its code().
class BEX_EXPORT FindingRefused : public StreamError {
public:
    using StreamError::StreamError;
    ~FindingRefused() override;
};

/// All codes that a finding may have, sorted.
BEX_EXPORT const std::vector<std::string>& findingCodes();

}  // namespace bex::stream

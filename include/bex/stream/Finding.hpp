#pragma once

#include <string>
#include <vector>

#include "bex/stream/Export.hpp"
#include "bex/stream/StreamError.hpp"

namespace bex::stream {

enum class Severity {
    warning,  ///< readers differ harmlessly, or it is bad practice
    error     ///< a reader or dpkg refuses it, or contents are not what is promised
};

/// One thing that is wrong with a package: what a StreamError would hold. docs/findings.md lists codes and
/// severities.
struct Finding : ErrorRecord {
    Finding(Severity severityOfIt, const ErrorRecord& record) : ErrorRecord(record), severity(severityOfIt) {}

    Severity severity;
};

/// Thrown by PackageEditor for an error that verify() would list and EditOptions::allow does not name. Naming its
/// code() lets it pass.
class BEX_EXPORT FindingRefused : public StreamError {
public:
    using StreamError::StreamError;
    ~FindingRefused() override;
};

/// All codes that a finding may have, sorted.
BEX_EXPORT const std::vector<std::string>& findingCodes();

}  // namespace bex::stream

#pragma once

#include <string>

#include "bex/BexException.hpp"

namespace bex::stream {

/// What kind of failure a StreamError reports, for programs that answer differently to each.
enum class ErrorKind {
    invalidInput,   ///< what the caller gave cannot make a package: fields, names, options
    damaged,        ///< the package breaks its format, or a checksum does not match
    unsupported,    ///< the package is of a kind that this library does not read
    limitExceeded,  ///< the package asks for more than the Limits in force allow
    refused,        ///< an entry is refused as unsafe
    inputOutput,    ///< the system failed a read, a write or another call
    cancelled       ///< a progress callback asked to stop
};

/// Every failure that the streaming library detects. The message is one line for people,
/// `FILE: member or entry: reason`, with names from packages and disks escaped by escapeForDisplay(); several
/// faults of one control paragraph stand on a line each.
class BEX_EXPORT StreamError : public BexException {
public:
    StreamError(ErrorKind kind, const std::string& message);
    ~StreamError() override;

    StreamError(const StreamError&) = default;
    StreamError& operator=(const StreamError&) = default;

    ErrorKind kind() const noexcept { return kind_; }

private:
    ErrorKind kind_;
};

}  // namespace bex::stream

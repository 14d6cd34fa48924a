#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// The kind of an error, for programs that handle kinds differently.
enum class ErrorKind {
    invalidInput,   ///< fields, names or options from the caller cannot make a package
    damaged,        ///< the package breaks its format, or a checksum does not match
    unsupported,    ///< the package is of a kind that this library does not read
    limitExceeded,  ///< the package exceeds one of the Limits
    refused,        ///< an entry is refused as unsafe
    inputOutput,    ///< the system failed a read, a write or another call
    cancelled       ///< a progress callback asked to stop
};

/// The kind as a word: "invalid-input", "damaged", "unsupported", "limit-exceeded", "refused", "input-output" or
/// "cancelled".
BEX_EXPORT const char* nameOf(ErrorKind kind) noexcept;

/// The parts of an error. Names are as they came, not escaped; "" means none.
struct ErrorRecord {
    ErrorKind kind = ErrorKind::damaged;
    std::string code;  ///< stable: as docs/findings.md lists it, or the word for the kind, such as "input-output"
    std::string package;  ///< the package, or the file or directory on disk
    std::string member;   ///< of the ar archive
    std::string entry;    ///< path as stored, of the payload or of the control archive
    std::string reason;   ///< one sentence for people, names within it escaped
    std::string limit;    ///< the field of Limits that is exceeded
    int systemError = 0;  ///< errno of a call that failed
    /// The position in a text file, counted from 1, columns in bytes; 0 means none.
    std::size_t line = 0;
    std::size_t column = 0;
};

/// The record as one line for people: `PACKAGE: member "MEMBER": ENTRY:LINE:COLUMN: REASON`, without the parts
/// that are empty, with names escaped by escapeForDisplay(). Entries of the payload are named by their path
/// alone.
BEX_EXPORT std::string messageOf(const ErrorRecord& record);

/// Every error that the streaming library detects. what() is messageOf() the record; several faults of one control
/// paragraph have a line each.
class BEX_EXPORT StreamError : public std::runtime_error {
public:
    explicit StreamError(ErrorRecord record);
    /// An error without a place, such as one of a caller's Sink; its code is the word for its kind.
    StreamError(ErrorKind kind, std::string reason);
    ~StreamError() override;

    StreamError(const StreamError&) = default;
    StreamError& operator=(const StreamError&) = default;

    ErrorKind kind() const noexcept { return record_->kind; }
    const std::string& code() const noexcept { return record_->code; }
    const std::string& package() const noexcept { return record_->package; }
    const std::string& member() const noexcept { return record_->member; }
    const std::string& entry() const noexcept { return record_->entry; }
    const std::string& limit() const noexcept { return record_->limit; }
    /// errno of the call that failed, or 0.
    int systemError() const noexcept { return record_->systemError; }

    const ErrorRecord& record() const noexcept { return *record_; }

private:
    std::shared_ptr<const ErrorRecord> record_;  // shared, so that copying cannot throw
};

}  // namespace bex::stream

#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"

namespace bex::repo {

using stream::ErrorKind;
using stream::StreamError;

/// `WHERE:LINE: reason` with a stable code; lines are counted from 1, and 0 means the whole file.
inline StreamError failure(ErrorKind kind, std::string code, std::string where, std::string reason,
                           std::size_t line = 0) {
    stream::ErrorRecord record;
    record.kind = kind;
    record.code = std::move(code);
    record.package = std::move(where);
    record.reason = std::move(reason);
    record.line = line;
    return StreamError(std::move(record));
}

/// "WHERE: can't ACTION: REASON", with the system's text for the error number.
inline StreamError systemFailure(std::string where, const std::string& action, int errorNumber) {
    stream::ErrorRecord record;
    record.kind = ErrorKind::inputOutput;
    record.code = "input-output";
    record.package = std::move(where);
    record.reason = "can't " + action + ": " + std::strerror(errorNumber);
    record.systemError = errorNumber;
    return StreamError(std::move(record));
}

inline std::string quoted(const std::string& text) {
    return '"' + stream::escapeForDisplay(text) + '"';
}

}  // namespace bex::repo

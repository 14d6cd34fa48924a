#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"

namespace bex::shlibs {

using stream::ErrorKind;
using stream::StreamError;

/// `FILE:LINE: reason`; lines are counted from 1, and 0 means the whole file.
inline StreamError failure(ErrorKind kind, const std::string& file, std::string reason, std::size_t line = 0) {
    stream::ErrorRecord record;
    record.kind = kind;
    record.code = StreamError(kind, "").code();
    record.package = file;
    record.reason = std::move(reason);
    record.line = line;
    return StreamError(std::move(record));
}

inline StreamError damaged(const std::string& file, std::string reason, std::size_t line = 0) {
    return failure(ErrorKind::damaged, file, std::move(reason), line);
}

/// What the system said of a call that failed on the file.
StreamError systemFailure(const std::string& file, int errorNumber);

}  // namespace bex::shlibs

#pragma once

#include <string>
#include <utility>

#include "bex/stream/StreamError.hpp"

namespace bex::remote {

/// "URL: REASON", of the kind `inputOutput` unless another is given. Parts of the reason that come from the
/// server have to be escaped.
inline stream::StreamError failure(const std::string& name, std::string code, std::string reason,
                                   stream::ErrorKind kind = stream::ErrorKind::inputOutput) {
    stream::ErrorRecord record;
    record.kind = kind;
    record.code = std::move(code);
    record.package = name;
    record.reason = std::move(reason);
    return stream::StreamError(std::move(record));
}

/// `limitExceeded`; `limit` is a field of RemoteOptions.
inline stream::StreamError limitFailure(const std::string& name, std::string limit, std::string reason) {
    stream::ErrorRecord record;
    record.kind = stream::ErrorKind::limitExceeded;
    record.code = "limit";
    record.package = name;
    record.reason = std::move(reason);
    record.limit = std::move(limit);
    return stream::StreamError(std::move(record));
}

}  // namespace bex::remote

#include "bex/stream/StreamError.hpp"

#include <utility>

#include "bex/stream/Escape.hpp"
#include "bex/stream/Finding.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

void append(std::string& message, const std::string& part) {
    if (!part.empty()) {
        appendPart(message, ": ", part);
    }
}

/// There is only one payload, so its entries need no member.
bool isOfPayload(const ErrorRecord& record) {
    return !record.entry.empty() && record.member.rfind("data.", 0) == 0;
}

}  // namespace

std::string messageOf(const ErrorRecord& record) {
    std::string message = escapeForDisplay(record.package);
    if (!record.member.empty() && !isOfPayload(record)) {
        append(message, "member \"" + escapeForDisplay(record.member) + '"');
    }
    append(message, escapeForDisplay(record.entry));
    for (const std::size_t number : {record.line, record.column}) {
        if (number != 0) {
            appendPart(message, ":", std::to_string(number));
        }
    }
    // Not escaped: whoever wrote the reason has quoted what is foreign in it.
    append(message, record.reason);
    return message;
}

const char* nameOf(ErrorKind kind) noexcept {
    switch (kind) {
        case ErrorKind::invalidInput:
            return "invalid-input";
        case ErrorKind::damaged:
            return "damaged";
        case ErrorKind::unsupported:
            return "unsupported";
        case ErrorKind::limitExceeded:
            return "limit-exceeded";
        case ErrorKind::refused:
            return "refused";
        case ErrorKind::inputOutput:
            return "input-output";
        case ErrorKind::cancelled:
            break;
    }
    return "cancelled";
}

// The record is shared: exceptions are copied while they are thrown, and a copy must not throw.
StreamError::StreamError(ErrorRecord record)
    : std::runtime_error(messageOf(record)), record_(std::make_shared<const ErrorRecord>(std::move(record))) {}

StreamError::StreamError(ErrorKind kind, std::string reason)
    : StreamError(Place("").record(kind, codeOf(kind), std::move(reason))) {}

// Defined here, so that the class has one table of virtual functions and one type information, in this library: a
// `catch` in another library then recognises it.
StreamError::~StreamError() = default;

FindingRefused::~FindingRefused() = default;

}  // namespace bex::stream
